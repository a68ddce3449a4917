#include "runners/pi/pi_models.hpp"

#include <fmt/format.h>

#include <cmath>
#include <map>
#include <optional>
#include <sstream>
#include <string>

namespace ravant {
namespace {

std::vector<std::string> wordsOf(const std::string& line) {
  std::istringstream input(line);
  std::vector<std::string> words;
  for (std::string word; input >> word;) words.push_back(word);
  return words;
}

/// Tokens that are told as 200K or 1.5M.
std::optional<std::string> tokensOf(const std::string& text) {
  std::istringstream input(text);
  double number = 0;
  std::string unit;
  if (!(input >> number) || number <= 0) return std::nullopt;
  input >> unit;
  if (unit == "K") number *= 1e3;
  if (unit == "M") number *= 1e6;
  return fmt::format("{:.0f}", std::round(number));
}

}  // namespace

std::vector<ProbedModel> parsePiModels(std::string_view listing) {
  std::vector<ProbedModel> models;
  std::istringstream input{std::string(listing)};
  std::map<std::string, std::size_t> columns;
  for (std::string line; std::getline(input, line);) {
    const std::vector<std::string> words = wordsOf(line);
    if (columns.empty()) {
      const bool isHeading = words.size() > 1 && words[0] == "provider" && words[1] == "model";
      for (std::size_t i = 0; isHeading && i < words.size(); ++i) columns[words[i]] = i;
      continue;
    }
    if (words.size() != columns.size()) continue;
    const auto cell = [&](const std::string& heading) {
      const auto column = columns.find(heading);
      return column == columns.end() ? std::string() : words[column->second];
    };
    ProbedModel model{.slug = fmt::format("{}/{}", cell("provider"), cell("model")),
                      .displayName = cell("model"),
                      .supportsThinking = cell("thinking") == "yes"};
    if (const auto window = tokensOf(cell("context"))) {
      model.contextWindowOptions = {*window};
      model.defaultContextWindow = window;
    }
    models.push_back(std::move(model));
  }
  return models;
}

}  // namespace ravant
