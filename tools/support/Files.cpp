#include "tools/support/Files.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace tools {

std::string readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream bytes;
  if (file.peek() != std::ifstream::traits_type::eof()) bytes << file.rdbuf();
  if (!file.is_open() || file.bad() || !bytes) throw std::runtime_error(path + " cannot be read");
  return bytes.str();
}

void writeFile(const std::string& path, std::string_view bytes) {
  const std::filesystem::path folder = std::filesystem::path(path).parent_path();
  if (!folder.empty()) std::filesystem::create_directories(folder);
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  file.close();
  if (!file) throw std::runtime_error(path + " cannot be written");
}

}  // namespace tools
