// Environment variables that a set-user-ID or set-group-ID program does not
// honour: whoever starts such a program controls its environment.
#ifndef NLSCNV_SUPPORT_SECURE_ENVIRONMENT_H
#define NLSCNV_SUPPORT_SECURE_ENVIRONMENT_H

// Test hook, never defined by the library: a test program that defines it
// (the executable's definition is found through the library's weak
// reference) and returns non-zero makes the process count as running in
// secure-execution mode. It can only add that mode, never remove it.
extern "C" int nls_test_secure_execution(void) __attribute__((weak, visibility("default")));

namespace nls {

// The variable's value, or null when it is not set or when the process runs
// in secure-execution mode as secure_getenv decides it (AT_SECURE:
// set-user-ID, set-group-ID, file capabilities).
const char* LibraryEnvironment(const char* name);

}  // namespace nls

#endif  // NLSCNV_SUPPORT_SECURE_ENVIRONMENT_H
