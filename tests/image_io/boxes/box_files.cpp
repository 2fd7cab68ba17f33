#include "tests/image_io/boxes/box_files.h"

namespace kelvo::image_io_test {

Bytes box(const std::string& type, const Bytes& payload) {
  heif::Builder builder;
  builder.number(payload.size() + 8, 4);
  builder.append(fromText(type));
  builder.append(payload);
  return builder.take();
}

std::vector<std::pair<std::string, Bytes>> boxes(const Bytes& file) {
  std::vector<std::pair<std::string, Bytes>> all;
  for (const heif::Box& found : heif::readBoxes(file).boxes) {
    std::string type;
    for (int shift = 24; shift >= 0; shift -= 8) type += static_cast<char>(found.type >> shift);
    all.emplace_back(type, Bytes(found.payload.begin(), found.payload.end()));
  }
  return all;
}

std::string runOn(const Bytes& file, const std::string& extension, const std::string& command) {
  const TemporaryFolder folder;
  const std::string path = folder.path("in." + extension);
  writeFile(path, file);
  return run(command + " '" + path + "'");
}

}  // namespace kelvo::image_io_test
