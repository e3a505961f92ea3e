// PLACEHOLDER until the data directory lands.
#include "nlscnv/conversion/encoding_converter.h"

char* EncodingConverter::fgConverterPath = nullptr;
const char* EncodingConverter::kDefaultConverterPath = "conv30/";

void EncodingConverter::setDataDirectory(const char*) {}
char* EncodingConverter::getDataDirectory() { return fgConverterPath; }
