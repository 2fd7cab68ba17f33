#pragma once

#include <functional>
#include <string>
#include <vector>

namespace kelvo::test {

// A file made to take all of a reader's memory, time or stack, and what the program says of it.
struct HostileFile {
  std::string name;
  std::function<std::string()> bytes;
  std::string says;  // a part of the message; empty: the file is sound, and is adjusted
};

std::vector<HostileFile> hostileJpegs();
std::vector<HostileFile> hostilePngs();
std::vector<HostileFile> hostileGifs();
std::vector<HostileFile> hostileTiffs();
std::vector<HostileFile> hostileWebps();
std::vector<HostileFile> hostileBmps();
std::vector<HostileFile> hostileHeifs();
std::vector<HostileFile> hostileJpeg2000s();
std::vector<HostileFile> hostileJxls();

}  // namespace kelvo::test
