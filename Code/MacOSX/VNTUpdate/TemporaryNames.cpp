#include "Code/MacOSX/VNTUpdate/TemporaryNames.h"

#include <charconv>

namespace {

/// Most names carry a build number as it is read, signed.
std::string signedText(std::uint32_t build) {
  return std::to_string(static_cast<std::int32_t>(build));
}

/// Takes a number off the front of the text.
template <typename Number>
std::optional<std::uint32_t> takeNumber(std::string_view& text) {
  Number number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc()) return std::nullopt;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return static_cast<std::uint32_t>(number);
}

/// The build in a text that, made of it again, is the same.
template <typename Number>
std::optional<std::uint32_t> buildBehind(std::string_view prefix, std::string_view name) {
  if (!name.starts_with(prefix)) return std::nullopt;
  name.remove_prefix(prefix.size());
  return takeNumber<Number>(name);
}

std::optional<std::uint32_t> targetOfDelta(std::string_view name) {
  const auto source = takeNumber<std::int32_t>(name);
  const auto target = source ? buildBehind<std::int32_t>("_", name) : std::nullopt;
  return target;
}

}  // namespace

std::string fullArchiveName(std::uint32_t build) {
  return "/VNT_Mac_x86_b" + std::to_string(build);
}

std::string deltaArchiveName(std::uint32_t targetBuild) {
  return fullArchiveName(targetBuild) + "_delta";
}

std::string endpointName(std::uint32_t build) {
  return "/Vantora (" + signedText(build) + ").app";
}

std::string deltaFolderName(std::uint32_t sourceBuild, std::uint32_t targetBuild) {
  return '/' + signedText(sourceBuild) + '_' + signedText(targetBuild);
}

std::optional<TemporaryItem> temporaryItemOf(std::string_view name) {
  using Kind = TemporaryItem::Kind;
  const std::string text = '/' + std::string(name);
  if (const auto build = buildBehind<std::uint32_t>("VNT_Mac_x86_b", name)) {
    const bool isOurs = text == fullArchiveName(*build) || text == deltaArchiveName(*build);
    return isOurs ? std::optional(TemporaryItem{Kind::archive, *build}) : std::nullopt;
  }
  if (const auto build = buildBehind<std::int32_t>("Vantora (", name);
      build && text == endpointName(*build)) {
    return TemporaryItem{Kind::bundle, *build};
  }
  std::string_view rest = name;
  const auto source = takeNumber<std::int32_t>(rest);
  const auto target = targetOfDelta(name);
  if (source && target && text == deltaFolderName(*source, *target)) {
    return TemporaryItem{Kind::package, *target};
  }
  return std::nullopt;
}
