#include "tools/packager/UpdateInfoDocument.h"

#include <cstdio>
#include <utility>

namespace packager {

namespace {

std::string quoted(const std::string& text) {
  std::string out = "\"";
  for (const char character : text) {
    if (character == '"' || character == '\\') {
      out += '\\';
      out += character;
    } else if (static_cast<unsigned char>(character) < 0x20) {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(character));
      out += escape;
    } else {
      out += character;
    }
  }
  return out + '"';
}

/// Members and elements as JSON, each level indented by two blanks.
class Writer {
 public:
  void open(char bracket) {
    beginValue();
    _text += bracket;
    _first = true;
    ++_depth;
  }
  void close(char bracket) {
    --_depth;
    if (!_first) newLine();
    _text += bracket;
    _first = false;
  }
  void key(const char* name) {
    separate();
    _text += quoted(name) + ": ";
    _afterKey = true;
  }
  void value(const std::string& text) {
    beginValue();
    _text += text;
  }

  void member(const char* name, const std::string& text) { key(name), value(quoted(text)); }
  void member(const char* name, std::int64_t number) { key(name), value(std::to_string(number)); }
  void member(const char* name, bool flag) { key(name), value(flag ? "true" : "false"); }

  [[nodiscard]] std::string take() { return std::move(_text) + '\n'; }

 private:
  void newLine() { _text += '\n' + std::string(2 * _depth, ' '); }
  void separate() {
    if (!_first) _text += ',';
    _first = false;
    if (_depth > 0) newLine();
  }
  void beginValue() {
    if (!_afterKey) separate();
    _afterKey = false;
  }

  std::string _text;
  std::size_t _depth = 0;
  bool _first = true;
  bool _afterKey = false;
};

void write(Writer& out, const SettingsEntry& settings) {
  out.open('{');
  out.member("enabled", settings.enabled);
  out.member("minDelayInDays", std::int64_t{settings.minDelayInDays});
  out.member("maxDelayInDays", std::int64_t{settings.maxDelayInDays});
  out.close('}');
}

void writeDownloads(Writer& out, const Download& mac, const Download& windows) {
  out.member("macDownloadUrl", mac.url);
  out.member("macDownloadSize", std::int64_t{mac.sizeBytes});
  out.member("windowsDownloadUrl", windows.url);
  out.member("windowsDownloadSize", std::int64_t{windows.sizeBytes});
}

void write(Writer& out, const DeltaEntry& delta) {
  out.open('{');
  out.member("fromBuildNumber", std::int64_t{delta.fromBuildNumber});
  writeDownloads(out, delta.mac, delta.windows);
  out.close('}');
}

void write(Writer& out, const BuildEntry& build);
void write(Writer& out, const RangeEntry& range);

template <typename Entry>
void writeList(Writer& out, const char* name, const std::vector<Entry>& entries) {
  out.key(name);
  out.open('[');
  for (const Entry& entry : entries)
    write(out, entry);
  out.close(']');
}

void write(Writer& out, const BuildEntry& build) {
  out.open('{');
  out.member("buildNumber", std::int64_t{build.buildNumber});
  writeDownloads(out, build.mac, build.windows);
  if (!build.deltaPackages.empty()) writeList(out, "deltaPackages", build.deltaPackages);
  out.close('}');
}

void write(Writer& out, const RangeEntry& range) {
  out.open('{');
  out.member("fromBuildNumber", std::int64_t{range.fromBuildNumber});
  out.member("toBuildNumber", std::int64_t{range.toBuildNumber});
  out.close('}');
}

void write(Writer& out, const MessengerEntry& messenger) {
  out.open('{');
  writeDownloads(out, messenger.mac, messenger.windows);
  out.close('}');
}

void write(Writer& out, const UrlTemplates& templates) {
  out.open('{');
  out.member("windowsDownloadUrlTemplate", templates.windows);
  out.member("macDownloadUrlTemplate", templates.mac);
  out.close('}');
}

template <typename Entry>
void writeOptional(Writer& out, const char* name, const std::optional<Entry>& entry) {
  if (!entry) return;
  out.key(name);
  write(out, *entry);
}

}  // namespace

std::string toJson(const UpdateInfoDocument& document) {
  Writer out;
  out.open('{');
  if (!document.newLocation.empty()) {
    out.member("newLocation", document.newLocation);
  } else {
    writeOptional(out, "updaterSettings", document.updaterSettings);
    writeOptional(out, "activatorSettings2", document.activatorSettings);
    writeOptional(out, "downloadUrlTemplates", document.downloadUrlTemplates);
    writeList(out, "activeBuilds", document.activeBuilds);
    writeList(out, "removeBuilds", document.removeBuilds);
    writeOptional(out, "VNTMessenger", document.messenger);
  }
  out.close('}');
  return out.take();
}

}  // namespace packager
