// The built-in converter module: module flag and factories (declared in
// nlscnv.h).
#ifndef NLSCNV_BUILTIN_BUILTIN_MODULE_H
#define NLSCNV_BUILTIN_BUILTIN_MODULE_H

#include <cstdint>

#include "nlscnv.h"

extern "C" {
// 0 until the first built-in factory runs, then 1 for the life of the process.
extern uint32_t gModuleRef;
void Init_ResModule(void);
}

#endif  // NLSCNV_BUILTIN_BUILTIN_MODULE_H
