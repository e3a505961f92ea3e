// What the last initialisation of a registry found: the state and record
// count of each registry file, and the converter libraries that could not
// be loaded with the reason of the last one. Registry files and libraries
// are opened here under the trust rule (nlscnv/support/file_trust.h).
#ifndef NLSCNV_REGISTRY_LOAD_REPORT_H
#define NLSCNV_REGISTRY_LOAD_REPORT_H

#include <cstdint>
#include <cstdio>

#include "nlscnv.h"

class TEncodingRegistry;

namespace nls {

// Forgets everything reported; the start of an initialisation.
void ResetLoadReport();

// Opens registry file number `index` (0 encreg.txt, 1 aliasreg.txt,
// 2 javareg.txt) for reading, or returns null when it is missing, cannot be
// opened or is refused by the trust rule; the outcome is reported.
FILE* OpenRegistryFile(const char* path, int index);
// Entries of the container that registry file `index` fills; the difference
// around a reading is the number of records it gave.
int32_t RegistryFileEntries(TEncodingRegistry* registry, int index);
void ReportRegistryRecords(int index, int32_t records);

// dlopen of a converter library that passes the trust rule, or null with
// the failure (refusal, missing file, dlerror text) reported.
void* OpenConverterLibrary(const char* path);
// A library that could not be loaded before its file was tried.
void ReportLibraryFailure(const char* reason);

// Fills the report's members of the host's record, counting the libraries
// that the registry has loaded. The failure text is copied into a buffer of
// the calling thread.
void FillLoadReport(TEncodingRegistry* registry, NLS_RegistryInfo* info);

}  // namespace nls

#endif  // NLSCNV_REGISTRY_LOAD_REPORT_H
