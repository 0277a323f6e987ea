"""Which policy applies to what is about to run, for Python: the C library of kx_policy, by ctypes.

    with kx_policy.open_image("build/image") as policies:
        status, answer = policies.evaluate(b'{"kind": "process", "path": "C:\\\\Tools\\\\a.exe"}')

The variable KX_POLICY_LIBRARY names the library where the system would not find it. While a call is in the library
other threads run, and they may ask the same policies."""
import ctypes
import json
import os

APPLIES, NONE, INPUT, UNANSWERED = 0, 1, -2, -3  # what becomes of an evaluation; where negative, nobody knows
FINE, FAULTY = 0, 2  # what becomes of a check
BRIEF = b"matched,policyId,action"  # fields that are enough to act on
EXPLAIN_NONE, EXPLAIN_CLOSE, EXPLAIN_ALL = range(3)

_library = ctypes.CDLL(os.environ.get("KX_POLICY_LIBRARY") or ("kx_policy.dll" if os.name == "nt" else "libkx_policy.so.1"))
_library.kx_policy_version.restype = _library.kx_policy_status_text.restype = ctypes.c_char_p
_library.kx_policy_free.argtypes = _library.kx_policy_close.argtypes = [ctypes.c_void_p]


class Error(Exception):
    """Why there is no answer: `status` says what is at fault, the text where."""

    def __init__(self, status, text):
        super().__init__(text or _library.kx_policy_status_text(status).decode())
        self.status = status


class Options(ctypes.Structure):
    """How to evaluate: Options(user=b"S-1-5-18", fields=BRIEF, explain=EXPLAIN_ALL), each of which may be left out."""

    _fields_ = [("size", ctypes.c_size_t), ("user", ctypes.c_char_p), ("fields", ctypes.c_char_p), ("explain", ctypes.c_int32)]

    def __init__(self, **given):
        super().__init__(size=ctypes.sizeof(type(self)), **given)


class _Document(ctypes.Structure):
    _fields_ = [("name", ctypes.c_char_p), ("text", ctypes.c_char_p), ("size", ctypes.c_size_t)]


def _taken(text):
    """What the library has handed out, as bytes of our own."""
    taken = ctypes.string_at(text) if text else None
    _library.kx_policy_free(text)
    return taken


def _call(function, *arguments, answered=(APPLIES,)):
    """The status and what `function` puts where its last argument but one says; raises what is not `answered`."""
    result, error = ctypes.c_void_p(), ctypes.c_void_p()
    status = function(*arguments, ctypes.byref(result), ctypes.byref(error))
    line = _taken(error)
    if status not in answered:
        raise Error(status, line and line.decode())
    return status, result


class Policies:
    """Policies that are open; to be closed, at the end of a `with` or by `close`, when no thread asks them any more."""

    def __init__(self, function, *arguments):
        self._handle = _call(function, *arguments)[1]

    def evaluate(self, target, options=None):
        """Of a target document as bytes the status, one of those above, and the answer as JSON."""
        asked = ctypes.byref(options) if options else None
        status, answer = _call(_library.kx_policy_evaluate, self._handle, target, ctypes.c_size_t(len(target)), asked,
                               answered=(APPLIES, NONE, INPUT, UNANSWERED))
        return status, _taken(answer)

    def summarize(self, targets, before=None, options=None):
        """Of target documents, one a line, what becomes of them: a summary as bytes, added to the one `before`."""
        asked = ctypes.byref(options) if options else None
        return _taken(_call(_library.kx_policy_summarize, self._handle, targets, ctypes.c_size_t(len(targets)), asked, before)[1])

    def close(self):
        _library.kx_policy_close(self._handle)
        self._handle = None

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()


def open_image(folder):
    return Policies(_library.kx_policy_open_image, os.fsencode(folder))


def _documents(paths):
    """As the library takes them: the documents and their number."""
    texts = [(os.fsencode(path), open(path, "rb").read()) for path in paths]
    return (_Document * len(texts))(*((name, text, len(text)) for name, text in texts)), ctypes.c_size_t(len(texts))


def open_documents(paths):
    """Policy documents, which make one publication together."""
    return Policies(_library.kx_policy_open_documents, *_documents(paths))


def check(paths):
    """What is wrong in policy documents, or cannot have been meant: FINE or FAULTY, and a dictionary for each finding."""
    status, found = _call(_library.kx_policy_check, *_documents(paths), answered=(FINE, FAULTY))
    return status, [json.loads(line) for line in (_taken(found) or b"").splitlines()]


def open_live():
    """Whatever is in force on this machine whenever a question is asked."""
    return Policies(_library.kx_policy_open_live)
