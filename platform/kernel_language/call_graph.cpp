#include "platform/kernel_language/call_graph.h"

#include <algorithm>
#include <optional>

#include "platform/kernel_language/source_limits.h"
#include "platform/kernel_language/text_quote.h"

namespace kelvo::kernel_language {
namespace {

// Every function after all that it calls; those on or above a cycle are missing.
std::vector<std::uint32_t> calleesFirst(std::span<const FunctionMeasure> measures) {
  std::vector<std::size_t> waiting(measures.size());
  std::vector<std::vector<std::uint32_t>> callers(measures.size());
  std::vector<std::uint32_t> order;
  for (std::uint32_t i = 0; i < measures.size(); ++i) {
    waiting[i] = measures[i].calls.size();
    for (const CallSite& call : measures[i].calls) callers[call.function].push_back(i);
    if (waiting[i] == 0) order.push_back(i);
  }
  for (std::size_t next = 0; next < order.size(); ++next) {
    for (const std::uint32_t caller : callers[order[next]]) {
      if (--waiting[caller] == 0) order.push_back(caller);
    }
  }
  return order;
}

// The calls that close a cycle reach a function from itself. Walks without recursion.
bool reaches(std::span<const FunctionMeasure> measures, const std::vector<bool>& open,
             std::uint32_t from, std::uint32_t target) {
  std::vector<bool> seen(measures.size());
  std::vector<std::uint32_t> pending{from};
  while (!pending.empty()) {
    const std::uint32_t current = pending.back();
    pending.pop_back();
    if (current == target) return true;
    if (seen[current] || !open[current]) continue;
    seen[current] = true;
    for (const CallSite& call : measures[current].calls) pending.push_back(call.function);
  }
  return false;
}

// A cycle is reported once, at its first function in the text.
void reportCycles(const FunctionTable& table, std::span<const FunctionMeasure> measures,
                  std::vector<bool> open, Diagnostics& diagnostics) {
  constexpr int kEnough = 5;
  int reported = 0;
  for (std::uint32_t i = 0; i < measures.size() && reported < kEnough; ++i) {
    if (!open[i]) continue;
    for (const CallSite& call : measures[i].calls) {
      if (!reaches(measures, open, call.function, i)) continue;
      const FunctionEntry& entry = table.entries()[i];
      diagnostics.report(call.position, call.function == i
                                            ? quote(entry.name) + " calls itself"
                                            : quote(entry.name) + " calls itself through " +
                                                  quote(table.entries()[call.function].name));
      ++reported;
      break;
    }
    open[i] = false;
  }
}

}  // namespace

void checkCalls(const FunctionTable& table, std::span<const FunctionMeasure> measures,
                std::uint32_t sharedNodes, Diagnostics& diagnostics) {
  const std::vector<std::uint32_t> order = calleesFirst(measures);
  if (order.size() != measures.size()) {
    std::vector<bool> open(measures.size(), true);
    for (const std::uint32_t function : order) open[function] = false;
    reportCycles(table, measures, std::move(open), diagnostics);
    return;
  }
  std::vector<std::uint32_t> nodes(measures.size());
  std::vector<std::uint32_t> depths(measures.size());
  for (const std::uint32_t function : order) {
    std::uint64_t size = measures[function].nodes;
    std::uint32_t below = 0;
    for (const CallSite& call : measures[function].calls) {
      size += nodes[call.function];
      below = std::max(below, depths[call.function]);
    }
    nodes[function] =
        static_cast<std::uint32_t>(std::min<std::uint64_t>(size, kMaximumKernelNodes + 1));
    depths[function] = std::min(measures[function].depth + below, kMaximumCallNesting + 1);
  }
  for (std::uint32_t i = 0; i < measures.size(); ++i) {
    const FunctionEntry& entry = table.entries()[i];
    if (!entry.isKernel) continue;
    if (nodes[i] + sharedNodes > kMaximumKernelNodes) {
      diagnostics.report(entry.position, "the kernel " + quote(entry.name) +
                                             " is too large with all that it calls");
    } else if (depths[i] > kMaximumCallNesting) {
      diagnostics.report(entry.position, "the functions under the kernel " + quote(entry.name) +
                                             " call each other too deeply");
    }
  }
}

}  // namespace kelvo::kernel_language
