// Which image is in force, which one was before, and which one a rollback took out of force: in memory, and where a
// folder is given also there, so that a restart changes nothing.
//
//   DIR/current     the image in force
//   DIR/previous    the one before, which a rollback puts back; none where there is none to go back to
//   DIR/withdrawn   the digest of the image that a rollback took out of force, in hexadecimal
//
// One step back is kept and no more: what a rollback took out of force is never what the next one puts back. Whoever is
// killed half way leaves a history that says one of the two, with an image too many at most.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "Agent/engine/kx_publish/image/policy_image.h"

struct SkxKeptImage {
  SkxPolicyImage image;
  std::string digest;
};

using SkxKeptImagePtr = std::shared_ptr<const SkxKeptImage>;

/// One moment of a history. Null is no image.
struct SkxImageHistoryState {
  SkxKeptImagePtr current;
  SkxKeptImagePtr previous;
  std::optional<std::string> withdrawn;  ///< a digest
};

/// A step is made ready before it is known whether it comes about, taken when it has, and kept on disk then:
///
///   SkxImageHistoryState next = history.AfterRollback();
///   ...                                // the image is put in force
///   history.Take(std::move(next));     // which cannot fail
///   history.Keep(error);
class CkxImageHistory {
 public:
  /// In memory alone.
  CkxImageHistory() = default;

  /// Kept in `folder` from now on, and begun with what is kept there. False with one line in `error` for a folder that
  /// cannot be made, or that holds something else; an image in it that cannot be read is none.
  bool Open(CkxTextView folder, std::string& error);

  const SkxImageHistoryState& State() const { return _state; }

  /// `image` is in force, and what was before is what a rollback puts back; the same image once more changes nothing of
  /// that.
  SkxImageHistoryState AfterPuttingInForce(SkxPolicyImage image) const;

  /// The previous image, which there has to be, is in force instead of the current one.
  SkxImageHistoryState AfterRollback() const;

  void Take(SkxImageHistoryState next) noexcept { _state = std::move(next); }

  /// Writes what is not in the folder yet. False with one line in `error` where that cannot be.
  bool Keep(std::string& error);

 private:
  bool KeepImage(const char* name, const SkxKeptImagePtr& image, SkxKeptImagePtr& kept, std::string& error) const;
  bool KeepWithdrawn(std::string& error) const;

  std::filesystem::path _folder;  // empty: in memory alone
  SkxImageHistoryState _state;
  SkxKeptImagePtr _keptCurrent;  // as the folder has it; null where that is not known
  SkxKeptImagePtr _keptPrevious;
};
