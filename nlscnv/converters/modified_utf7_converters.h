// IMAP modified UTF-7 (mailbox names) <-> UCS-2 converters: "&" opens a
// base64 run (alphabet ending in "+,"), "&-" stands for "&", and only the
// printable characters 0x20-0x7E other than "&" stand for themselves. Both
// keep an interrupted run in the object when the output fills (see
// base64_runs.h); `shifted` mirrors the run flag, and Reset drops the run.
#ifndef NLSCNV_CONVERTERS_MODIFIED_UTF7_CONVERTERS_H
#define NLSCNV_CONVERTERS_MODIFIED_UTF7_CONVERTERS_H

#include <cstdint>

#include "nlscnv/converter.h"
#include "nlscnv/converters/base64_runs.h"

// Decodes leniently; faults are converted and reported with -1302. "-" and
// "&" end a run and are absorbed; any other byte that is not a digit ends it
// and is then read as a character.
class TModifiedUTF7ToUnicodeConverter : public TEncodingConverter {
 public:
  TModifiedUTF7ToUnicodeConverter();
  ~TModifiedUTF7ToUnicodeConverter() override;
  void Reset() override;
  int Convert(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
              const unsigned char* src, unsigned int srcLen, unsigned int* srcUsed) override;
  // The same conversion by the one-step-at-a-time algorithm alone.
  int ConvertReference(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
                       const unsigned char* src, unsigned int srcLen, unsigned int* srcUsed);
  int32_t shifted;  // a base64 run is open

 private:
  nls::Base64DecoderState fRun;
};

// Encodes UCS-2; every run is closed with "-". Output full gives -1303 when a
// byte remains for the terminator, 2 when none does.
class TUnicodeToModifiedUTF7Converter : public TEncodingConverter {
 public:
  TUnicodeToModifiedUTF7Converter();
  ~TUnicodeToModifiedUTF7Converter() override;
  void Reset() override;
  int Convert(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
              const unsigned char* src, unsigned int srcLen, unsigned int* srcUsed) override;
  // The same conversion by the one-step-at-a-time algorithm alone.
  int ConvertReference(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
                       const unsigned char* src, unsigned int srcLen, unsigned int* srcUsed);
  int32_t shifted;  // a base64 run is open

 private:
  nls::Base64EncoderState fRun;
};

#endif  // NLSCNV_CONVERTERS_MODIFIED_UTF7_CONVERTERS_H
