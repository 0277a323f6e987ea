// Conditions and settings of a policy document as a person reads them: a label and a text for each key.
//
//   {"fileName": "setup*.exe", "fileVersion": {"max": "2.0.0.0"}, "origin": {"mainSourceType": "Internet"}}
//
//   File name                   setup*.exe
//   File version                up to 2.0.0.0
//   Origin, main source type    Internet
//
// It goes by the shape of the values, so that a key that is new has its line too. Everything comes out printable
// (`KxText_Printable`): what does not show, or steers how others show, is spelt out.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

struct SkxReportLine {
  std::string label;
  std::string text;
};

/// Of the keys of `object` that are not among `shownElsewhere`, in their order.
std::vector<SkxReportLine> KxReport_Lines(const nlohmann::ordered_json& object,
                                          std::initializer_list<const char*> shownElsewhere);

/// "fileVersion" as "File version".
std::string KxReport_Label(const std::string& key);
