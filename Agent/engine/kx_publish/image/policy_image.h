// One publication on disk: a folder with the exact bytes of the shared sections, no header of its own.
//
//   policies.sec, appgroups.sec, alerts.sec   a missing file is a section that is not published
//   applicable.json                           policy ids per SID; a missing file: every policy applies to everybody
//   names.json                                what the author called things (document/author_names.h); may lie beside
//                                             them, no decision depends on it, and one that cannot be read is as none
//   image.p7s                                 who vouches for all of these (image_signature.h); may lie beside them,
//   and
//                                             counts where a signature is asked for
#pragma once

#include <kx_util/policy_source.h>

#include <optional>
#include <string>
#include <vector>

#include "Common_CPP/util/text_view.h"

struct SkxPolicyImage {
  using Bytes = std::vector<unsigned char>;

  std::optional<Bytes> policies;
  std::optional<Bytes> appGroups;
  std::optional<Bytes> alerts;
  std::optional<std::string> applicable;  ///< the text of applicable.json
  std::optional<std::string> names{};     ///< of names.json, as it is; empty where it cannot be read
  std::optional<Bytes> signature{};       ///< of image.p7s, likewise

  const std::optional<Bytes>& Section(EkxPolicySection which) const;
};

/// Everything that the folder has, of one image even while it is replaced. False with one line in `error` that names
/// the file, for rules also the place in it: a folder with none of these files, or with one of another kind, is no
/// image. What is in the sections is not looked at: a damaged record is for the walk to meet. Throws std::bad_alloc
/// alone.
bool KxPolicyImage_Load(CkxTextView folder, SkxPolicyImage& image, std::string& error);

/// Makes `folder` hold the image and nothing else. It is written beside its place and trades places with what is there,
/// in one step where the system has one: a failure leaves what was there before, and nothing else. Where the system has
/// none (Windows) the place is empty for a moment. What a writer that was killed left beside it goes with the next one.
/// A folder that holds other things than an image is refused: they would be lost. Throws std::bad_alloc alone.
bool KxPolicyImage_Write(CkxTextView folder, const SkxPolicyImage& image, std::string& error);
