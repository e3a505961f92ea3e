// Exported initialisation and termination.
#include "nlscnv.h"
#include "nlscnv/conversion/encoding_converter.h"
#include "nlscnv/framework/two_stage_converter.h"
#include "nlscnv/support/nls_mutex.h"
#include "nlscnv/support/secure_environment.h"

extern "C" {

int NLS_EncInitialize(const MutexImplementation* mutex, const char* dataDirectory) {
  if (mutex != nullptr) NLSMutex::SetImplementation(mutex);
  const char* directory = nullptr;
  if (dataDirectory != nullptr && dataDirectory[0] != '\0') {
    directory = dataDirectory;
  } else {
    const char* fromEnvironment = nls::LibraryEnvironment("QV_NLS_DATADIRECTORY");
    if (fromEnvironment != nullptr && fromEnvironment[0] != '\0') directory = fromEnvironment;
  }
  // The directory must be set first: the registry reads it while it is built.
  EncodingConverter::setDataDirectory(directory);
  EncodingConverter::initializeEncodingRegistry();
  return 1;
}

int NLS_EncTerminate(void) {
  EncodingConverter::deleteEncodingRegistry();
  NLSMutex::ReleaseImplementation();
  TTwoStageConverter::ReleaseThreadReserve();
  return 1;
}

}  // extern "C"
