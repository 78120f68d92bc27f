#include "runtime/File/ZRFileSpec.h"

ZRFileSpec::ZRFileSpec(const ZRString& path) {
  const std::size_t slash = path.findLast('/');
  const std::size_t nameStart = slash == ZRString::npos ? 0 : slash + 1;
  _folder = ZRString(path.view().substr(0, nameStart));
  _name = ZRString(path.view().substr(nameStart));
}

ZRFileSpec::ZRFileSpec(const ZRString& folder, const ZRString& name) : _folder(folder), _name(name) {
  if (!_folder.isEmpty() && !_folder.endsWith("/")) _folder += '/';
}

std::size_t ZRFileSpec::extensionDot() const {
  const std::size_t dot = _name.findLast('.');
  return dot == 0 ? ZRString::npos : dot;
}

ZRString ZRFileSpec::baseName() const {
  return ZRString(_name.view().substr(0, extensionDot()));
}

ZRString ZRFileSpec::extension() const {
  const std::size_t dot = extensionDot();
  return dot == ZRString::npos ? ZRString() : ZRString(_name.view().substr(dot + 1));
}
