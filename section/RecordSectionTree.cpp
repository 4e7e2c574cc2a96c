// The entry points through which sections reach their tree.
#include "section/RecordSectionTree.h"

#include <atomic>

namespace zsff {

namespace {
// Written once by the tree module and read by every section thereafter; atomic so
// that a section on another thread sees a complete table.
std::atomic<const SectionTreeCalls*> s_TreeCalls{nullptr};
}  // namespace

void SetSectionTreeCalls(const SectionTreeCalls* calls) {
  s_TreeCalls.store(calls, std::memory_order_release);
}

const SectionTreeCalls* GetSectionTreeCalls() {
  return s_TreeCalls.load(std::memory_order_acquire);
}

}  // namespace zsff
