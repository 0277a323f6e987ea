#include "tools/kxpolicy/outline/outline.h"

#include <CLI/CLI.hpp>
#include <algorithm>

namespace {

/// The parser keeps them as a text alone, "{text,json}", behind the name of the type.
std::vector<std::string> AllowedValues(const CLI::Option& option) {
  const std::string type = option.get_type_name();
  const size_t begin = type.find(":{");
  if (begin == std::string::npos || !type.ends_with('}')) return {};
  return CLI::detail::split(type.substr(begin + 2, type.size() - begin - 3), ',');
}

SkxOptionOutline OptionOutline(const CLI::Option& option, const std::string& choice) {
  SkxOptionOutline outline;
  for (const std::string& name : option.get_snames()) outline.names.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) outline.names.push_back("--" + name);
  outline.isPlaced = outline.names.empty();
  if (outline.isPlaced) outline.names.push_back(option.get_name());
  outline.help = option.get_description();
  const std::string type = option.get_type_name();
  if (option.get_items_expected_max() != 0) outline.value = type.substr(0, type.find(':'));
  outline.values = AllowedValues(option);
  outline.choice = choice;
  outline.isRequired = option.get_required();
  outline.isRepeated = option.get_items_expected_max() >= CLI::detail::expected_max_vector_size;
  return outline;
}

void AddOptions(const CLI::App& app, const std::string& choice, std::vector<SkxOptionOutline>& options) {
  for (const CLI::Option* const option : app.get_options()) options.push_back(OptionOutline(*option, choice));
}

}  // namespace

SkxVerbOutline KxOutline_Of(const CLI::App& app) {
  SkxVerbOutline outline;
  outline.name = app.get_name();
  outline.summary = app.get_description();
  outline.footer = app.get_footer();
  AddOptions(app, "", outline.options);
  for (const CLI::App* const below : app.get_subcommands([](const CLI::App*) { return true; })) {
    if (below->get_name().empty()) {
      AddOptions(*below, below->get_description(), outline.options);
    } else {
      outline.verbs.push_back(KxOutline_Of(*below));
      if (outline.verbs.back().footer == outline.footer) outline.verbs.back().footer.clear();
    }
  }
  return outline;
}
