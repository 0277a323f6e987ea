// Policy documents that tests write, with parts that rows of data put into them.
#pragma once

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/document/policy_document.h"
#include "Agent/engine/kx_publish/image/encode_image.h"

/// The image of a document that has no fault.
inline SkxPolicyImage KxTest_Compile(const std::string& document) {
  SkxPublication publication;
  SkxDocumentError error;
  const SkxDocumentText text[] = {{"test", document}};
  EXPECT_TRUE(KxPolicyDocument_Read(text, publication, error)) << error.Text() << "\n" << document;
  return KxEncode_Image(publication);
}

/// The document `around` with the members of `part`, or `part` itself, at the JSON pointer `place`. The place "" is
/// that of the whole, which may be a text that is no JSON.
inline std::string KxTest_WithPart(const char* around, const std::string& place, const nlohmann::json& part) {
  if (place.empty() && part.is_string()) return part;
  if (place.empty()) return part.dump();
  nlohmann::json document = nlohmann::json::parse(around);
  nlohmann::json& there = document[nlohmann::json::json_pointer(place)];
  if (there.is_object()) {
    there.update(part);
  } else {
    there = part;
  }
  return document.dump();
}
