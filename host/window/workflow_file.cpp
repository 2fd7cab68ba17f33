#include "host/window/workflow_file.h"

#include <QFile>
#include <QSaveFile>
#include <algorithm>
#include <charconv>
#include <cmath>
#include <string_view>
#include <utility>

#include "platform/foundation/file_text.h"

namespace kelvo::window {
namespace {

// Stored numbers have six decimals, those of curve points come from single precision.
constexpr double kSameNumber = 1e-4;

// The next piece of a list of numbers such as "0 0,96.5 120".
std::string_view nextPiece(std::string_view& rest) {
  const std::size_t end = rest.find_first_of(" ,");
  const std::string_view piece = rest.substr(0, end);
  rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
  return piece;
}

bool samePiece(std::string_view first, std::string_view second) {
  double a = 0;
  double b = 0;
  const auto readA = std::from_chars(first.data(), first.data() + first.size(), a);
  const auto readB = std::from_chars(second.data(), second.data() + second.size(), b);
  const bool numbers = readA.ec == std::errc() && readA.ptr == first.data() + first.size() &&
                       readB.ec == std::errc() && readB.ptr == second.data() + second.size();
  return numbers ? std::abs(a - b) <= kSameNumber : first == second;
}

bool sameValue(const ParameterValue& first, const ParameterValue& second) {
  const std::string a = first.stringValue();
  const std::string b = second.stringValue();
  std::string_view restA = a;
  std::string_view restB = b;
  while (!restA.empty() && !restB.empty()) {
    if (!samePiece(nextPiece(restA), nextPiece(restB))) {
      return false;
    }
  }
  return restA.empty() && restB.empty();
}

}  // namespace

bool sameSettings(const ParameterDictionary& first, const ParameterDictionary& second) {
  return std::ranges::equal(first.all(), second.all(), [](const auto& a, const auto& b) {
    return a.first == b.first && sameValue(a.second, b.second);
  });
}

WorkflowFile::WorkflowFile(std::string action, ParameterDictionary defaults)
    : action_(std::move(action)), defaults_(std::move(defaults)) {
  makeNew();
}

void WorkflowFile::makeNew() { show(WorkflowDocument{{{action_, defaults_}}}, {}, {}); }

Result<void> WorkflowFile::open(const std::string& path) {
  auto text = readTextFile(path);
  if (!text) {
    return text.error();
  }
  auto document = parseWorkflow(*text);
  if (!document) {
    return document.error();
  }
  show(std::move(document).value(), path, std::move(text).value());
  return {};
}

Result<void> WorkflowFile::save(const std::string& path) {
  const WorkflowDocument whole = document();
  std::string text = formatWorkflow(whole);
  QSaveFile file(QFile::decodeName(path.c_str()));
  const bool written = file.open(QIODevice::WriteOnly) &&
                       file.write(text.data(), static_cast<qint64>(text.size())) ==
                           static_cast<qint64>(text.size()) &&
                       file.commit();
  if (!written) {
    return Error{file.errorString().toStdString()};
  }
  document_ = whole;
  saved_ = whole;
  path_ = path;
  text_ = std::move(text);
  return {};
}

bool WorkflowFile::changed() const {
  return !std::ranges::equal(
      document().actions, saved_.actions, [](const WorkflowStep& a, const WorkflowStep& b) {
        return a.action == b.action && sameSettings(a.parameters, b.parameters);
      });
}

bool WorkflowFile::changedOnDisk() const {
  if (path_.empty()) {
    return false;
  }
  const auto text = readTextFile(path_);
  return text && *text != text_;
}

WorkflowDocument WorkflowFile::document() const {
  WorkflowDocument whole = document_;
  whole.actions[selected_].parameters = *parameters_;
  return whole;
}

void WorkflowFile::select(std::size_t index) {
  document_ = document();
  selected_ = index;
  *parameters_ = document_.actions[index].parameters;
}

void WorkflowFile::show(WorkflowDocument document, std::string path, std::string text) {
  document_ = std::move(document);
  saved_ = document_;
  path_ = std::move(path);
  text_ = std::move(text);
  const auto known = std::ranges::find(document_.actions, action_, &WorkflowStep::action);
  selected_ = known == document_.actions.end()
                  ? 0
                  : static_cast<std::size_t>(known - document_.actions.begin());
  *parameters_ = document_.actions[selected_].parameters;
}

}  // namespace kelvo::window
