// One recorded event in whatever shape it was exported: where its number, its source and its fields are found.
//
//   {"EventID": 1, "Channel": "…", "Image": "…"}                                   flat
//   {"winlog": {"event_id": 1, "event_data": {"Image": "…"}}, "process": {…}}      nested below the collector's names
//   {"Event": {"System": {"EventID": 1}, "EventData": {"Image": "…"}}}             as the system's XML reads
//
// In the last one fields may also be a list, {"Data": [{"@Name": "Image", "#text": "…"}]}, or lie below UserData in an
// element of the event's own, and the part below Event may be a JSON text under "Payload".
#pragma once

#include <list>
#include <nlohmann/json.hpp>
#include <span>
#include <string>
#include <vector>

/// A value and its place in the event.
struct SkxEventValue {
  const nlohmann::json* json = nullptr;  ///< null: there is none
  std::string pointer;
};

class CkxEventRecord {
 public:
  /// Keeps a reference. A fault is a `CkxDocumentFault`.
  explicit CkxEventRecord(const nlohmann::json& event);
  CkxEventRecord(const CkxEventRecord&) = delete;
  CkxEventRecord& operator=(const CkxEventRecord&) = delete;

  /// The event's number; a fault where it has none.
  uint32_t Number() const;

  /// Whether a source that the event names has `word` in its name, whatever the case; true where it names none.
  bool IsFrom(const char* word) const;

  /// The first of the names that has a value. A name with dots is a way down from the top, one without them a field of
  /// the event. What recorders write where there is nothing (null, "", "-", "?") is no value.
  SkxEventValue Find(std::span<const char* const> names) const;

 private:
  void AddFieldsOf(const nlohmann::json& parent, const std::string& pointer);
  void AddEventData(const SkxEventValue& data);
  void AddUserData(const SkxEventValue& data);
  void AddPayload(const SkxEventValue& text);
  SkxEventValue FindOne(const std::string& name) const;

  const nlohmann::json& _event;
  std::list<nlohmann::json> _made;     // that the event holds in another form
  std::vector<SkxEventValue> _fields;  // objects with fields, those that are looked at first in front
};
