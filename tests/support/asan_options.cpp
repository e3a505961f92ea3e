// Default AddressSanitizer options of the test programs. A test program
// carries the library as a static copy and exports its public symbols; a
// converter library it loads still names libnlscnv.so.3, which the loader
// brings in beside it, so the exported tables of the library exist twice
// (the program's copy is the one every reference binds to). ASan reports
// that as a violation of the one-definition rule; it is not one here.
#if defined(__SANITIZE_ADDRESS__)
extern "C" const char* __asan_default_options() { return "detect_odr_violation=0"; }
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
extern "C" const char* __asan_default_options() { return "detect_odr_violation=0"; }
#endif
#endif
