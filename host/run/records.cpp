#include "host/run/records.h"

#include <cmath>
#include <nlohmann/json.hpp>
#include <string_view>

#include "platform/foundation/ns_url.h"

namespace kelvo::host {
namespace {

using nlohmann::ordered_json;

std::string_view resultName(Outcome outcome) {
  switch (outcome) {
    case Outcome::rewritten:
      return "rewritten";
    case Outcome::skipped:
      return "skipped";
    case Outcome::failed:
      return "failed";
    case Outcome::waiting:
    case Outcome::notRun:
      break;
  }
  return "not run";
}

std::string serialised(const ordered_json& json) {
  return json.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

// JSON cannot hold a name that is not UTF-8; its URL then tells the bytes.
void addPath(ordered_json& record, const char* key, const std::string& path) {
  record[key] = path;
  try {
    (void)ordered_json(path).dump();
  } catch (const ordered_json::exception&) {
    record[std::string(key) + "Url"] = NSURL::fileURLWithPath(path).absoluteString();
  }
}

}  // namespace

std::string jsonRecord(const FileRecord& record, const std::string& path, const std::string& output,
                       bool dryRun) {
  ordered_json json;
  addPath(json, "path", path);
  json["result"] = resultName(record.outcome);
  if (output != path) {
    addPath(json, "output", output);
  }
  if (dryRun) {
    json["dryRun"] = true;
  }
  json["frames"] = record.frames;
  json["depth"] = record.writtenDepth;
  json["sourceDepth"] = record.sourceDepth;
  json["seconds"] = std::round(record.seconds * 1e6) / 1e6;
  json["message"] = record.errors.empty() ? record.warnings : record.errors;
  return serialised(json) + '\n';
}

}  // namespace kelvo::host
