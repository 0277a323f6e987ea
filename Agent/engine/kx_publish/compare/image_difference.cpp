#include "Agent/engine/kx_publish/compare/image_difference.h"

#include <algorithm>
#include <map>
#include <set>

#include "Agent/engine/kx_publish/compare/element_difference.h"
#include "Agent/engine/kx_publish/document/applicable_document.h"
#include "Agent/engine/kx_publish/document/policy_document.h"
#include "Agent/engine/kx_publish/image/image_models.h"
#include "Agent/engine/kx_publish/record/encode.h"
#include "Common_CPP/util/guid.h"
#include "Common_CPP/util/text.h"

namespace {

using Json = SkxDifference::Json;
using Change = SkxDifference::Change;
using Bytes = std::span<const unsigned char>;

constexpr const char* kPolicy = "policy";
constexpr const char* kRecordsDiffer = "its record differs in bytes that no document says";
constexpr const char* kSectionsDiffer = "differs in the order of its records, or in bytes that are in none";

/// A record as a document says it.
struct Element {
  Bytes bytes;
  std::string key;
  std::string name;
  Json json;                 ///< null where no document says it
  bool isCanonical = false;  ///< the document says all of its bytes
};
using Elements = std::vector<Element>;

template <class Model>
Json Written(const Model& model) {
  SkxPublication publication;
  const char* key = "alerts";
  if constexpr (std::is_same_v<Model, SkxPolicyModel>) {
    publication.policies = {model};
    key = "policies";
  } else if constexpr (std::is_same_v<Model, SkxAppGroupModel>) {
    publication.groups = {model};
    key = "applicationGroups";
  } else {
    publication.alerts = {model};
  }
  Json document;
  SkxDocumentError unsayable;
  if (!KxPolicyDocument_Write(publication, document, unsayable)) return nullptr;
  return document.at(key).at(0);
}

bool Equal(Bytes a, Bytes b) { return std::equal(a.begin(), a.end(), b.begin(), b.end()); }

Element PolicyElement(const SkxImageRecord<SkxPolicyModel>& record, size_t index) {
  Element element = {record.bytes, std::to_string(KxImage_PolicyId(record.bytes)), {}, nullptr, false};
  if (!record.model) return element;
  SkxPolicyModel model = *record.model;
  element.name = KxText_ToUtf8(model.name);
  element.isCanonical = Equal(KxEncode_Policy(model), record.bytes);
  const bool isPlace = model.order == index + 1;
  element.json = Written(model);
  if (isPlace && element.json.is_object()) element.json.erase("order");
  return element;
}

/// The name of a group or an alert is its id.
template <class Model>
Element NamedElement(const SkxImageRecord<Model>& record, std::vector<unsigned char> (*encode)(const Model&),
                     const GUID& id) {
  Element element = {record.bytes, KxGuid_ToUtf8(id), {}, nullptr, false};
  if (!record.model) return element;
  element.isCanonical = Equal(encode(*record.model), record.bytes);
  element.json = Written(*record.model);
  if (element.json.is_object()) {
    element.json.erase("name");
    element.json.erase("id");
  }
  return element;
}

struct ImageElements {
  explicit ImageElements(const SkxPolicyImage& image) {
    SkxImageModels models = KxImage_Models(image);
    for (size_t i = 0; i < models.policies.size(); ++i) policies.push_back(PolicyElement(models.policies[i], i));
    for (const auto& group : models.groups) {
      groups.push_back(NamedElement(group, KxEncode_AppGroup, KxImage_GroupId(group.bytes)));
    }
    for (const auto& alert : models.alerts) {
      alerts.push_back(NamedElement(alert, KxEncode_Alert, KxImage_AlertId(alert.bytes)));
    }
    faults = std::move(models.faults);
  }

  Elements policies;
  Elements groups;
  Elements alerts;
  std::vector<std::string> faults;
};

class ImageDifferences {
 public:
  void CompareRules(const std::optional<std::string>& was, const std::optional<std::string>& is) {
    const SkxApplicableRows old = RowsOf(was);
    const SkxApplicableRows now = RowsOf(is);
    if (old.empty() != now.empty()) {
      SkxDifference& difference = Add({"applicable", "rows", "", Change::Changed, "", "", {}, {}});
      const char* const everybody = "every policy is for everybody";
      difference.was = old.empty() ? Json(everybody) : Json(old);
      difference.is = now.empty() ? Json(everybody) : Json(now);
      return;
    }
    for (const auto& [key, ids] : old) {
      const auto row = now.find(key);
      if (row == now.end()) {
        Add({"applicable", key, "", Change::Removed, "", "", ids, {}});
      } else if (Sorted(row->second) != Sorted(ids)) {
        Add({"applicable", key, "", Change::Changed, "", "", ids, row->second});
      }
    }
    for (const auto& [key, ids] : now) {
      if (!old.contains(key)) Add({"applicable", key, "", Change::Added, "", "", {}, ids});
    }
  }

  /// All of one section. One that is told nothing of is the same to the last byte.
  void CompareSection(const char* file, const char* kind, const std::optional<SkxPolicyImage::Bytes>& was,
                      const std::optional<SkxPolicyImage::Bytes>& is, const Elements& old, const Elements& now) {
    const size_t toldBefore = _differences.size();
    if (was.has_value() != is.has_value()) {
      const auto told = [](bool isThere) { return Json(isThere ? "published" : "not published"); };
      Add({"section", file, "", Change::Changed, "", "", told(was.has_value()), told(is.has_value())});
    }
    Compare(kind, old, now);
    if (was == is || _differences.size() != toldBefore) return;
    Add({"section", file, "", Change::Changed, "", kSectionsDiffer, {}, {}});
  }

  std::vector<SkxDifference> Take() && { return std::move(_differences); }

 private:
  void Compare(const char* kind, const Elements& was, const Elements& is) {
    std::vector<const Element*> partners = Partners(was, is);
    const std::set<const Element*> kept(partners.begin(), partners.end());
    for (const Element& element : was) {
      if (!kept.contains(&element)) Add({kind, element.key, element.name, Change::Removed, "", "", Told(element), {}});
    }
    TellMoves(kind, was, is, partners);
    for (size_t i = 0; i < is.size(); ++i) {
      if (partners[i] != nullptr) {
        ComparePair(kind, *partners[i], is[i]);
      } else {
        Add({kind, is[i].key, is[i].name, Change::Added, "", "", {}, Told(is[i])});
      }
    }
  }

  static SkxApplicableRows RowsOf(const std::optional<std::string>& text) {
    return text ? KxApplicable_Parse(*text) : SkxApplicableRows();
  }

  /// A row that begins with 0 is one for nobody; else the order of its ids says nothing.
  static std::vector<uint32_t> Sorted(std::vector<uint32_t> ids) {
    if (!ids.empty() && ids.front() == 0) ids.clear();
    std::sort(ids.begin(), ids.end());
    ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
    return ids;
  }

  static Json Told(const Element& element) {
    return element.json.is_null() ? Json("a record that no document says") : element.json;
  }

  /// For each of `is` the one of `was` that it was: the first of its key that is left, else the only one of its name.
  static std::vector<const Element*> Partners(const Elements& was, const Elements& is) {
    std::map<std::string, std::vector<const Element*>> byKey;  // the first one last
    for (size_t i = was.size(); i-- != 0;) byKey[was[i].key].push_back(&was[i]);
    std::vector<const Element*> partners(is.size());
    for (size_t i = 0; i < is.size(); ++i) {
      std::vector<const Element*>& waiting = byKey[is[i].key];
      if (waiting.empty()) continue;
      partners[i] = waiting.back();
      waiting.pop_back();
    }
    PairByName(byKey, is, partners);
    return partners;
  }

  static void PairByName(const std::map<std::string, std::vector<const Element*>>& left, const Elements& is,
                         std::vector<const Element*>& partners) {
    std::map<std::string, std::vector<const Element*>> old;
    std::map<std::string, std::vector<size_t>> now;
    for (const auto& [key, elements] : left) {
      for (const Element* const element : elements) old[element->name].push_back(element);
    }
    for (size_t i = 0; i < is.size(); ++i) {
      if (partners[i] == nullptr) now[is[i].name].push_back(i);
    }
    for (const auto& [name, places] : now) {
      const auto found = old.find(name);
      const bool isOnly = found != old.end() && found->second.size() == 1 && places.size() == 1;
      if (isOnly && !name.empty()) partners[places.front()] = found->second.front();
    }
  }

  /// The policies that changed places with others: as few as explain the new order. Of groups and alerts the order says
  /// nothing, unless two have one id.
  void TellMoves(const char* kind, const Elements& was, const Elements& is,
                 const std::vector<const Element*>& partners) {
    if (kind != kPolicy) return;
    std::vector<size_t> kept;  // indices in `is` of those that were there before
    for (size_t i = 0; i < is.size(); ++i) {
      if (partners[i] != nullptr) kept.push_back(i);
    }
    const auto place = [&](size_t i) { return static_cast<size_t>(partners[i] - was.data()); };
    const std::set<size_t> unmoved = LongestRise(kept, place);
    for (const size_t i : kept) {
      if (unmoved.contains(i)) continue;
      Add({kind, is[i].key, is[i].name, Change::Moved, "", "", place(i) + 1, i + 1});
    }
  }

  /// The longest part of `indices` whose places rise.
  template <class Place>
  static std::set<size_t> LongestRise(const std::vector<size_t>& indices, Place place) {
    constexpr size_t kNone = ~size_t{0};
    std::vector<size_t> ends;  // for each length, of the parts that long the one with the lowest last place
    std::vector<size_t> before(indices.size(), kNone);
    for (size_t i = 0; i < indices.size(); ++i) {
      const auto end = std::lower_bound(ends.begin(), ends.end(), i,
                                        [&](size_t a, size_t b) { return place(indices[a]) < place(indices[b]); });
      if (end != ends.begin()) before[i] = *(end - 1);
      if (end != ends.end()) {
        *end = i;
      } else {
        ends.push_back(i);
      }
    }
    std::set<size_t> rise;
    for (size_t i = ends.empty() ? kNone : ends.back(); i != kNone; i = before[i]) rise.insert(indices[i]);
    return rise;
  }

  void ComparePair(const char* kind, const Element& was, const Element& is) {
    if (Equal(was.bytes, is.bytes) && was.json == is.json) return;
    const SkxDifference subject = {kind, is.key, is.name.empty() ? was.name : is.name, Change::Changed, "", "", {}, {}};
    if (!was.json.is_null() && !is.json.is_null()) {
      std::vector<SkxDifference> found = KxElement_Differences(subject, was.json, is.json);
      const bool isTold = !found.empty() || (was.isCanonical && is.isCanonical);
      for (SkxDifference& difference : found) Add(std::move(difference));
      if (isTold) return;
    }
    Add(subject).remark = kRecordsDiffer;
  }

  SkxDifference& Add(SkxDifference difference) { return _differences.emplace_back(std::move(difference)); }

  std::vector<SkxDifference> _differences;
};

}  // namespace

SkxImageDifferences KxImage_Differences(const SkxPolicyImage& was, const SkxPolicyImage& is) {
  ImageElements old(was);
  ImageElements now(is);
  ImageDifferences differences;
  differences.CompareSection("policies.sec", kPolicy, was.policies, is.policies, old.policies, now.policies);
  differences.CompareSection("appgroups.sec", "group", was.appGroups, is.appGroups, old.groups, now.groups);
  differences.CompareSection("alerts.sec", "alert", was.alerts, is.alerts, old.alerts, now.alerts);
  differences.CompareRules(was.applicable, is.applicable);
  return {std::move(differences).Take(), std::move(old.faults), std::move(now.faults)};
}
