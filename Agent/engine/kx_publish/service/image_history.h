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
#include <optional>
#include <string>

#include "Agent/engine/kx_publish/image/policy_image.h"

struct SkxKeptImage {
  SkxPolicyImage image;
  std::string digest;
};

class CkxImageHistory {
 public:
  /// In memory alone.
  CkxImageHistory() = default;

  /// Kept in `folder` from now on, and begun with what is kept there. False with one line in `error` for a folder that
  /// cannot be made, or that holds something else; an image in it that cannot be read is none.
  bool Open(CkxTextView folder, std::string& error);

  const std::optional<SkxKeptImage>& Current() const { return _current; }
  const std::optional<SkxKeptImage>& Previous() const { return _previous; }
  const std::optional<std::string>& Withdrawn() const { return _withdrawn; }

  /// `image` is in force, and what was before is what a rollback puts back; the same image once more changes nothing of
  /// that. False with a line in `error` where it could not be kept: in memory it is so all the same.
  bool PutInForce(SkxPolicyImage image, std::string& error);

  /// The previous image, which there has to be, is in force instead of the current one. `error` as above.
  bool RollBack(std::string& error);

 private:
  bool Keep(const char* name, const std::optional<SkxKeptImage>& image, std::string& error) const;
  bool KeepWithdrawn(std::string& error) const;

  std::filesystem::path _folder;  // empty: in memory alone
  std::optional<SkxKeptImage> _current;
  std::optional<SkxKeptImage> _previous;
  std::optional<std::string> _withdrawn;
};
