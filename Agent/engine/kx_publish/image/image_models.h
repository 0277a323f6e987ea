// The records of an image, read back to plain values, for whoever looks through a whole publication.
#pragma once

#include <span>

#include "Agent/engine/kx_publish/image/policy_image.h"
#include "Agent/engine/kx_publish/model/policy_model.h"

/// A record that is framed well. It looks into the image.
template <class Model>
struct SkxImageRecord {
  std::span<const unsigned char> bytes;
  size_t offset = 0;           ///< in its section
  std::optional<Model> model;  ///< nothing where the library reads no record, or the model has no words for it
};

struct SkxImageModels {
  std::vector<SkxImageRecord<SkxPolicyModel>> policies;
  std::vector<SkxImageRecord<SkxAppGroupModel>> groups;
  std::vector<SkxImageRecord<SkxAlertModel>> alerts;
  std::vector<std::string> faults;  ///< "policies.sec: byte 4: ...": records that are not read, sections that end early
};

SkxImageModels KxImage_Models(const SkxPolicyImage& image);

/// Of a record, whether it can be read or not.
uint32_t KxImage_PolicyId(std::span<const unsigned char> record);
GUID KxImage_GroupId(std::span<const unsigned char> record);
GUID KxImage_AlertId(std::span<const unsigned char> record);
