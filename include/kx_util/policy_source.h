// Where policies are read from. The store asks the source in force on the calling thread: the live sections and the
// agent by default, an image on disk or in memory for the length of a scope.
//
//   CkxPolicySourceScope scope(image);
//   CkxSharedPoliciesData::GetTargetPolicyAction(target, info);    // judged by the image
//
// Threads. A scope is one thread's: it is opened and closed there, the innermost first, and its source outlives it. One
// source may be in force on several threads, which then ask it at once: a source of one's own must stand that, and must
// not change the bytes of a section that it has handed out. The live source, a pinned one and an image do. A walk asks
// on the thread of its caller alone.
#pragma once

#include <memory>
#include <span>
#include <vector>

#include "Common_CPP/thread/thread_slot.h"
#include "Common_CPP/util/base.h"

/// The sections of a publication.
enum class EkxPolicySection : unsigned char { Policies, AppGroups, Alerts };

/// The bytes of one section for the length of a call, and whatever keeps them alive.
class IkxSectionHolder {
 public:
  virtual ~IkxSectionHolder() = default;
};

/// A section, and what keeps it.
struct SkxSectionBytes {
  std::span<const unsigned char> bytes;
  std::unique_ptr<IkxSectionHolder> holder;  ///< null when the source itself keeps the bytes
};

/// The policies that apply to one user.
class KX_UTIL_API CkxApplicablePolicies {
 public:
  static CkxApplicablePolicies All();
  explicit CkxApplicablePolicies(std::vector<uint32_t> ids);

  bool IsAll() const { return _all; }
  bool IsNone() const { return !_all && _ids.empty(); }
  bool Contains(uint32_t id) const {
    if (_all) return true;
    if (_bits.empty()) return _IsAmongSorted(id);
    return id / 64 < _bits.size() && (_bits[id / 64] >> id % 64 & 1) != 0;
  }
  const std::vector<uint32_t>& Ids() const { return _ids; }  ///< as they were given

 private:
  CkxApplicablePolicies() = default;
  bool _IsAmongSorted(uint32_t id) const;

  bool _all = false;
  std::vector<uint32_t> _ids;
  std::vector<uint64_t> _bits;    // one an id; empty when the ids lie far apart
  std::vector<uint32_t> _sorted;  // then
};

/// Not published is a normal state, of a machine without policies say. A section that is there and cannot be had is a
/// fault: who took it for the same would let through what the section blocks.
enum class EkxSectionState : unsigned char { Open, NotPublished, Refused };

/// Where policies come from. Asked on the thread of the evaluation; must not throw.
class IkxPolicySource {
 public:
  virtual ~IkxPolicySource() = default;

  /// `section` is set when the state is `Open`; the source has traced what is worth a line.
  virtual EkxSectionState OpenSection(EkxPolicySection which, SkxSectionBytes& section) const = 0;

  /// The policies that apply to the user of `token`, which may be none; null when that cannot be told, which the source
  /// has traced.
  virtual std::shared_ptr<const CkxApplicablePolicies> ApplicablePolicies(void* token) const = 0;

  /// The publication in force now, which stays as it is whatever is published meanwhile: one decision reads all of its
  /// sections from one publication. `pinned` stays null for a source that never changes, and unless the state is
  /// `Open`. It must not outlive this source.
  virtual EkxSectionState Pin(std::unique_ptr<const IkxPolicySource>& /*pinned*/) const {
    return EkxSectionState::Open;
  }

  /// The same together with the policies that apply to the user of `token`. Who has to wait for the one may fetch the
  /// other meanwhile. They belong together only if the publication is current afterwards; `pinned` may then be set
  /// whatever the state is.
  virtual EkxSectionState PinFor(void* token, std::unique_ptr<const IkxPolicySource>& pinned,
                                 std::shared_ptr<const CkxApplicablePolicies>& applicable) const {
    const EkxSectionState state = Pin(pinned);
    applicable = (pinned != nullptr ? *pinned : *this).ApplicablePolicies(token);
    return state;
  }

  /// Whether this publication is still the one in force. Who asks for a user's policies and finds, after the answer,
  /// that it is knows that the answer is about this publication.
  virtual bool IsCurrent() const { return true; }

  /// What tells the publication in force from every other, for answers that are remembered; empty when nothing may be.
  virtual KxWString PublicationName() const { return {}; }

  /// The same for what is remembered of the sections alone, whoever asks and whatever applies to whom.
  virtual KxWString ContentName() const { return PublicationName(); }
};

/// Puts a source in place on this thread, and the one before back at its end.
class KX_UTIL_API CkxPolicySourceScope {
 public:
  explicit CkxPolicySourceScope(const IkxPolicySource& source);

 private:
  const CkxThreadPointer<const IkxPolicySource>::Scope _scope;
};

/// The source in force on this thread.
KX_UTIL_API const IkxPolicySource& KxPolicySource_Current();
