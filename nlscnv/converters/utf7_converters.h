// UTF-7 <-> UCS-2 converters. Both keep an interrupted base64 run in the
// object when the output fills (see base64_runs.h); Reset drops it.
#ifndef NLSCNV_CONVERTERS_UTF7_CONVERTERS_H
#define NLSCNV_CONVERTERS_UTF7_CONVERTERS_H

#include "nlscnv/converter.h"
#include "nlscnv/converters/base64_runs.h"

// Decodes UTF-7 leniently: every byte other than "+" outside a run is a
// character; faults are converted and reported with -1302.
class TUTF7ToUnicodeConverter : public TEncodingConverter {
 public:
  TUTF7ToUnicodeConverter();
  ~TUTF7ToUnicodeConverter() override;
  void Reset() override;
  int Convert(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
              const unsigned char* src, unsigned int srcLen, unsigned int* srcUsed) override;
  // The same conversion by the one-step-at-a-time algorithm alone.
  int ConvertReference(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
                       const unsigned char* src, unsigned int srcLen, unsigned int* srcUsed);

 private:
  nls::Base64DecoderState fRun;
};

// Encodes UCS-2 as UTF-7: the direct, optional and space characters stand for
// themselves, "+" becomes "+-", everything else goes into base64 runs, closed
// with "-" only before a base64 digit or "-" and not at the end.
class TUnicodeToUTF7Converter : public TEncodingConverter {
 public:
  TUnicodeToUTF7Converter();
  ~TUnicodeToUTF7Converter() override;
  void Reset() override;
  int Convert(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
              const unsigned char* src, unsigned int srcLen, unsigned int* srcUsed) override;
  // The same conversion by the one-step-at-a-time algorithm alone.
  int ConvertReference(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
                       const unsigned char* src, unsigned int srcLen, unsigned int* srcUsed);

 private:
  nls::Base64EncoderState fRun;
};

#endif  // NLSCNV_CONVERTERS_UTF7_CONVERTERS_H
