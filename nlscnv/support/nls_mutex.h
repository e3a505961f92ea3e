// NLSMutex: a scoped lock on the host's mutex. Constructing one locks,
// destroying it unlocks; without an installed MutexImplementation both do
// nothing. The registry is the only user.
#ifndef NLSCNV_SUPPORT_NLS_MUTEX_H
#define NLSCNV_SUPPORT_NLS_MUTEX_H

#include "nlscnv.h"

class NLSMutex {
 public:
  NLSMutex();
  ~NLSMutex();
  NLSMutex(const NLSMutex&) = delete;
  NLSMutex& operator=(const NLSMutex&) = delete;

  // Installs a copy of the host's record (the record need not outlive the
  // call); replaces any earlier copy. A null record changes nothing.
  static void SetImplementation(const MutexImplementation* implementation);
  // Removes the copy: from then on NLSMutex does nothing.
  static void ReleaseImplementation();

  // Installed and removed only while no other thread is inside the library.
  static MutexImplementation* fgImplementation;
};

#endif  // NLSCNV_SUPPORT_NLS_MUTEX_H
