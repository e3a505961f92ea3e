// Allocation hooks of the fault tests. This test program defines malloc,
// calloc, realloc, free and every form of operator new and delete itself; by
// ELF symbol interposition the library (and libc inside it) allocates through
// them. While a window is open the hooks count allocations, can make exactly
// one of them fail, and remember which blocks are still live.
#ifndef NLSCNV_TESTS_FAULTS_ALLOCATION_HOOKS_H
#define NLSCNV_TESTS_FAULTS_ALLOCATION_HOOKS_H

#include <cstddef>

namespace nls_faults {

// Opens a window in which allocation number `failAt` (counting from 1) fails;
// 0 lets every allocation succeed.
void OpenWindow(long failAt);
// Opens a window in which every allocation of exactly `size` bytes fails.
void OpenWindowFailingSize(size_t size);
// Closes the window: nothing is counted or failed any more.
void CloseWindow();
// Stops and resumes counting without closing the window (for the test's own
// bookkeeping between the steps of a scenario).
void PauseWindow();
void ResumeWindow();
// Allocations seen in the current or last window.
long Allocations();
// True when the window reached its failing allocation.
bool Failed();
// Blocks allocated in the last window and not yet freed (freeing them later,
// outside a window, still counts). `except` is left out of the count.
long LiveBlocks(const void* except = nullptr);
// Size of the first live block, for diagnostics.
size_t FirstLiveSize();

// Opens a window for the lifetime of the object.
class Window {
 public:
  explicit Window(long failAt) { OpenWindow(failAt); }
  ~Window() { CloseWindow(); }
  Window(const Window&) = delete;
  Window& operator=(const Window&) = delete;
};

}  // namespace nls_faults

#endif  // NLSCNV_TESTS_FAULTS_ALLOCATION_HOOKS_H
