// The built-in converter module: module flag and factories (declared in
// nlscnv.h).
#ifndef NLSCNV_FRAMEWORK_BUILTIN_MODULE_H
#define NLSCNV_FRAMEWORK_BUILTIN_MODULE_H

#include <cstdint>

#include "nlscnv.h"

extern "C" {
// 0 until the first built-in factory runs, then 1 for the life of the process.
NLS_EXPORT extern uint32_t gModuleRef;
NLS_EXPORT void Init_ResModule(void);
}

#endif  // NLSCNV_FRAMEWORK_BUILTIN_MODULE_H
