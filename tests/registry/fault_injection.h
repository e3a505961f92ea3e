// Allocation failure on demand. The test program replaces the global
// operators new and delete (for the whole process, the library included) with
// malloc and free; an armed countdown makes one chosen nothrow allocation
// return null, which is how the library allocates everything it checks.
#ifndef NLSCNV_TESTS_REGISTRY_FAULT_INJECTION_H
#define NLSCNV_TESTS_REGISTRY_FAULT_INJECTION_H

namespace nls_test {

// Makes the nothrow allocation number `index` from now (0: the next one)
// fail; a negative index disarms.
void FailNothrowAllocation(long index);
// Whether the armed failure has happened since the last call to arm it.
bool NothrowFailureHappened();

// Arms for the scope of the object; disarms on destruction.
class ScopedAllocationFailure {
 public:
  explicit ScopedAllocationFailure(long index) { FailNothrowAllocation(index); }
  ~ScopedAllocationFailure() { FailNothrowAllocation(-1); }
  bool Happened() const { return NothrowFailureHappened(); }
};

}  // namespace nls_test

#endif  // NLSCNV_TESTS_REGISTRY_FAULT_INJECTION_H
