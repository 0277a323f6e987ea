// What an image is made of, as a text: a line for each file, by name, with the SHA-256 of its bytes. It is what a
// signature of an image signs, and its own digest tells one image from another. It is never stored: whoever needs it
// makes it of the bytes at hand, so that a file that was altered, added or taken away makes another manifest.
//
//   0b6e...c1  applicable.json
//   97a1...04  policies.sec
//
// The lines are those of the sha256sum command, in the order of the names' bytes, each with a line feed.
#pragma once

#include <string>

#include "Agent/engine/kx_publish/image/policy_image.h"

/// Of all files but the signature itself. Nothing when the system has no SHA-256.
std::optional<std::string> KxImageManifest_Of(const SkxPolicyImage& image);

/// The SHA-256 of a manifest, in hexadecimal. Empty when the system has no SHA-256.
std::string KxImageManifest_Digest(const SkxPolicyImage& image);
