#include "nlscnv/support/nls_mutex.h"

#include <new>

MutexImplementation* NLSMutex::fgImplementation = nullptr;

// Whether to lock and whether to unlock are each decided by what is installed
// at that moment.
NLSMutex::NLSMutex() {
  const MutexImplementation* implementation = fgImplementation;
  if (implementation != nullptr && implementation->lock != nullptr) {
    implementation->lock(implementation->context);
  }
}

NLSMutex::~NLSMutex() {
  const MutexImplementation* implementation = fgImplementation;
  if (implementation != nullptr && implementation->unlock != nullptr) {
    implementation->unlock(implementation->context);
  }
}

void NLSMutex::SetImplementation(const MutexImplementation* implementation) {
  if (implementation == nullptr) return;
  MutexImplementation* copy = new (std::nothrow) MutexImplementation(*implementation);
  if (copy == nullptr) return;  // keep what was installed before
  delete fgImplementation;
  fgImplementation = copy;
}

void NLSMutex::ReleaseImplementation() {
  delete fgImplementation;
  fgImplementation = nullptr;
}
