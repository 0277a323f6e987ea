/* Which policy applies to what is about to run, for programs in any language: a C interface over the policies of an
 * image, of policy documents, or those that are in force on this machine.
 *
 *   kx_policies* policies = NULL;
 *   char* answer = NULL;
 *   char* error = NULL;
 *   int status = kx_policy_open_image("build/image", &policies, &error);
 *   if (status == KX_POLICY_OK) status = kx_policy_evaluate(policies, target, strlen(target), NULL, &answer, &error);
 *   if (status == KX_POLICY_OK) puts(answer);                    // {"id":null,"matched":true,"policyId":7,...}
 *   if (status < 0) fprintf(stderr, "%s: %s\n", kx_policy_status_text(status), error != NULL ? error : "");
 *   kx_policy_free(answer);
 *   kx_policy_free(error);
 *   kx_policy_close(policies);
 *
 * Status. What is not negative is an answer: KX_POLICY_OK, of an evaluation also KX_POLICY_NONE, that no policy
 * applies, and of a check KX_POLICY_FAULTY. What is negative is none. A host that lets things run where no policy
 * applies must not do so on a negative status: nobody has been asked then.
 *
 * Texts are UTF-8. Those with a size are bytes, whatever follows them is not read, and they need no NUL at their end;
 * others end at their NUL. None may be NULL unless it is said, nor a size be 0 with it.
 *
 * Texts that are handed out end in a NUL and are the caller's, who frees them with `kx_policy_free`; each is NULL where
 * there is nothing to say. `error`, which may be NULL where nobody wants to know, is one line about why the status is
 * negative: of a document its name and the place in it. It stays NULL where there is no memory to say it in. Results
 * are set to NULL before anything else is done, so that they may be freed whatever the status.
 *
 * Threads. Any threads may call anything at once, also with one and the same `kx_policies`, which never changes.
 * Closing is the exception: it is for the one who knows that nobody else has it in use, or will. No call remembers
 * anything of the thread that makes it.
 *
 * Nothing is thrown and nobody's process is ended: a want of memory is KX_POLICY_NO_MEMORY, and leaves everything as it
 * was.
 *
 * The numbers of this header, the shape of its structures and what its functions mean stay as they are for as long as
 * the library is called libkx_policy.so.1. */
#ifndef KX_POLICY_H
#define KX_POLICY_H

#include <stddef.h>
#include <stdint.h>

#if defined(KX_POLICY_STATIC)
#define KX_POLICY_API
#elif defined(_WIN32) && defined(KX_POLICY_BUILDS)
#define KX_POLICY_API __declspec(dllexport)
#elif defined(_WIN32)
#define KX_POLICY_API __declspec(dllimport)
#else
#define KX_POLICY_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* What became of a call. */
enum {
  KX_POLICY_OK = 0,          /* done; of an evaluation: a policy applies, and the answer says which */
  KX_POLICY_NONE = 1,        /* no policy applies: all those of the user were asked */
  KX_POLICY_FAULTY = 2,      /* of a check: something is wrong, and the findings say what */
  KX_POLICY_ARGUMENT = -1,   /* an argument that cannot be used: NULL, a SID that is none, an unknown number */
  KX_POLICY_INPUT = -2,      /* a document, a folder or a file that cannot be read, or is malformed */
  KX_POLICY_UNANSWERED = -3, /* the question could not be asked: nobody knows whether a policy applies */
  KX_POLICY_REFUSED = -4,    /* the system refused: a folder that cannot be written */
  KX_POLICY_NO_MEMORY = -5,  /* out of memory */
  KX_POLICY_INTERNAL = -6    /* a mistake of this library's own */
};

/* Policies to ask. Opened by one of the functions below, and closed by `kx_policy_close`. */
typedef struct kx_policies kx_policies;

/* A policy document, comments allowed: docs/policy.schema.json has its members. */
typedef struct kx_policy_document {
  const char* name; /* as errors and explanations call it: a file's path */
  const char* text;
  size_t size; /* bytes of `text`, at most 256 MiB */
} kx_policy_document;

/* Which policies an answer explains (kx_policy_options). */
enum {
  KX_POLICY_EXPLAIN_NONE = 0,
  KX_POLICY_EXPLAIN_CLOSE = 1, /* those that apply, or came close */
  KX_POLICY_EXPLAIN_ALL = 2    /* each that was looked at */
};

/* The members of an answer that are enough to act on. */
#define KX_POLICY_BRIEF "matched,policyId,action"

/* How to evaluate. Set to 0 but for `size` it is the default, as NULL in its place is. */
typedef struct kx_policy_options {
  size_t size;      /* sizeof(kx_policy_options), so that later members are known to be there */
  const char* user; /* SID of the user to ask for, in place of the target's own; NULL: its own */
  const char*
      fields;      /* the members to answer, between commas; NULL: all. "id", "error" and "explain" are always there */
  int32_t explain; /* KX_POLICY_EXPLAIN_... */
} kx_policy_options;

/* The version of the library, "1.0.0". Never NULL, and nobody's to free. */
KX_POLICY_API const char* kx_policy_version(void);

/* What a status means, in a few words. Never NULL, whatever `status` is, and nobody's to free. */
KX_POLICY_API const char* kx_policy_status_text(int status);

/* The image in the folder `folder`, as `kxpolicy compile` or `kx_policy_compile` made it. It is read and prepared once,
 * for very many questions; what becomes of the folder afterwards does not matter. KX_POLICY_INPUT: no image. */
KX_POLICY_API int kx_policy_open_image(const char* folder, kx_policies** policies, char** error);

/* The policies of `count` documents, which are compiled together in memory, and prepared as an image is.
 * KX_POLICY_INPUT: a document is at fault, and `error` says which and where. */
KX_POLICY_API int kx_policy_open_documents(const kx_policy_document* documents, size_t count, kx_policies** policies,
                                           char** error);

/* Whatever is in force on this machine when a question is asked, and the agent's word on which policies the user has.
 * Opening asks nothing: where nothing is published, questions are KX_POLICY_UNANSWERED. */
KX_POLICY_API int kx_policy_open_live(kx_policies** policies, char** error);

/* Gives up what was opened; NULL is nothing to give up. */
KX_POLICY_API void kx_policy_close(kx_policies* policies);

/* Which policy applies to a target: `target` is one target document in JSON (docs/target.schema.json). Nothing is read
 * from this machine for it.
 *
 * `answer` is one line of JSON without its end, the one that `kxpolicy eval --targets - --format json` writes for that
 * document. There is one for KX_POLICY_OK and KX_POLICY_NONE, and besides `error` also for KX_POLICY_UNANSWERED and for
 * a document that is at fault (KX_POLICY_INPUT): whoever answers a stream has a line for each of these. */
KX_POLICY_API int kx_policy_evaluate(const kx_policies* policies, const char* target, size_t size,
                                     const kx_policy_options* options, char** answer, char** error);

/* The same about the file of this machine at `path`, as `kxpolicy eval --file` does; of a shortcut about what it
 * starts. Without a user it is the caller's own; with one it is that account
 * alone, whose groups are not known. KX_POLICY_INPUT: no such file, or one that cannot be looked at. Where
 * it came from is not known here, since no signature on that holds without secrets. */
KX_POLICY_API int kx_policy_evaluate_file(const kx_policies* policies, const char* path,
                                          const kx_policy_options* options, char** answer, char** error);

/* What becomes of many targets, in numbers that add up: `targets` is target documents, one a line, of which blank ones
 * are passed over. Of `options` only the user counts. `before`, which may be NULL, is a summary that is added to: a
 * stream of any length is summed up in pieces that end at line ends, and so are those of several machines.
 *
 * `summary` is the line of JSON without its end that `kxpolicy eval --targets - --summary --format json` writes, and
 * that `kxpolicy summary` adds up. A line that is no target document is counted as unusable, a question that could not
 * be asked as a fault: neither is a reason for another status than KX_POLICY_OK. KX_POLICY_INPUT: `before` is no
 * summary. */
KX_POLICY_API int kx_policy_summarize(const kx_policies* policies, const char* targets, size_t size,
                                      const kx_policy_options* options, const char* before, char** summary,
                                      char** error);

/* An image of `count` documents in the folder `folder`, which is written whole or not at all, in place of an image that
 * is there, and is on the disk when this returns. KX_POLICY_INPUT: a document is at fault. KX_POLICY_REFUSED: the
 * folder cannot be written, or holds other things. */
KX_POLICY_API int kx_policy_compile(const kx_policy_document* documents, size_t count, const char* folder,
                                    char** error);

/* What is wrong in `count` documents, which belong together, then what cannot have been meant in them: before they are
 * opened or compiled, as an editor shows it, or for somebody else's documents. Nothing of this machine is asked.
 *
 * `findings` is a line of JSON for each, with its end, those that `kxpolicy check --format json` writes for the
 * documents: its severity and rule, its document, with line and column, and the policy that it is about. It is NULL
 * where nothing was found. KX_POLICY_FAULTY: there are errors among them, and the documents do not compile; a document
 * that is no JSON is such an error too. KX_POLICY_OK: there are warnings at most. KX_POLICY_INPUT: a document is larger
 * than a document may be. */
KX_POLICY_API int kx_policy_check(const kx_policy_document* documents, size_t count, char** findings, char** error);

/* Frees a text that was handed out; NULL is nothing to free. */
KX_POLICY_API void kx_policy_free(char* text);

#ifdef __cplusplus
}
#endif

#endif
