// The conversions and aliases that every registry starts with.
#include "nlscnv/registry/encoding_registry.h"

const NLS_StaticConverterEntry TEncodingRegistry::fStaticEntryList[] = {
    {"ISO_8859-1:1987", "ISO-10646-UCS-2", "NewLatin1ToUnicodeEncodingConverter",
     NEWLATIN1TOUNICODEENCODINGCONVERTER},
    {"ISO-10646-UCS-2", "ISO_8859-1:1987", "NewUnicodeToLatin1EncodingConverter",
     NEWUNICODETOLATIN1ENCODINGCONVERTER},
    {"x-mac-roman", "ISO-10646-UCS-2", "NewMacRomanToUnicodeEncodingConverter",
     NEWMACROMANTOUNICODEENCODINGCONVERTER},
    {"ISO-10646-UCS-2", "x-mac-roman", "NewUnicodeToMacRomanEncodingConverter",
     NEWUNICODETOMACROMANENCODINGCONVERTER},
    {"ISO-10646-UCS-4", "ISO-10646-UCS-2", "NewUCS4ToUnicodeEncodingConverter",
     NEWUCS4TOUNICODEENCODINGCONVERTER},
    {"ISO-10646-UCS-2", "ISO-10646-UCS-4", "NewUnicodeToUCS4EncodingConverter",
     NEWUNICODETOUCS4ENCODINGCONVERTER},
    {"ESCAPED_UNICODE", "ISO-10646-UCS-2", "NewEUCSToUnicodeEncodingConverter",
     NEWEUCSTOUNICODEENCODINGCONVERTER},
    {"ISO-10646-UCS-2", "ESCAPED_UNICODE", "NewUnicodeToEUCSEncodingConverter",
     NEWUNICODETOEUCSENCODINGCONVERTER},
    {"UTF-8", "ISO-10646-UCS-2", "NewUTF8ToUnicodeEncodingConverter",
     NEWUTF8TOUNICODEENCODINGCONVERTER},
    {"ISO-10646-UCS-2", "UTF-8", "NewUnicodeToUTF8EncodingConverter",
     NEWUNICODETOUTF8ENCODINGCONVERTER},
    {"UNICODE-1-1-UTF-7", "ISO-10646-UCS-2", "NewUTF7ToUnicodeEncodingConverter",
     NEWUTF7TOUNICODEENCODINGCONVERTER},
    {"ISO-10646-UCS-2", "UNICODE-1-1-UTF-7", "NewUnicodeToUTF7EncodingConverter",
     NEWUNICODETOUTF7ENCODINGCONVERTER},
    {"IMAP-MODIFIED-UTF-7", "ISO-10646-UCS-2", "NewModifiedUTF7ToUnicodeEncodingConverter",
     NEWMODIFIEDUTF7TOUNICODEENCODINGCONVERTER},
    {"ISO-10646-UCS-2", "IMAP-MODIFIED-UTF-7", "NewUnicodeToModifiedUTF7EncodingConverter",
     NEWUNICODETOMODIFIEDUTF7ENCODINGCONVERTER},
};

const uint32_t TEncodingRegistry::fStaticEntryListLength =
    sizeof fStaticEntryList / sizeof fStaticEntryList[0];

// US-ASCII names lead to the Latin-1 name: the Latin-1 converter handles ASCII
// text. The EUC-JP names have no built-in conversion; converter libraries or
// the host provide it.
const char* const TEncodingRegistry::fStaticAliasList[][2] = {
    {"us-ascii", "ISO_8859-1:1987"},
    {"ansi_x3.4-1968", "ISO_8859-1:1987"},
    {"iso-ir-6", "ISO_8859-1:1987"},
    {"ansi_x3.4-1986", "ISO_8859-1:1987"},
    {"iso_646.irv:1991", "ISO_8859-1:1987"},
    {"ascii", "ISO_8859-1:1987"},
    {"iso646-us", "ISO_8859-1:1987"},
    {"us", "ISO_8859-1:1987"},
    {"ibm367", "ISO_8859-1:1987"},
    {"cp367", "ISO_8859-1:1987"},
    {"csascii", "ISO_8859-1:1987"},
    {"latin1", "ISO_8859-1:1987"},
    {"iso-ir-100", "ISO_8859-1:1987"},
    {"l1", "ISO_8859-1:1987"},
    {"ibm819", "ISO_8859-1:1987"},
    {"cp819", "ISO_8859-1:1987"},
    {"ISO-8859-1-Windows-3.0-Latin-1", "ISO_8859-1:1987"},
    {"ISO-8859-1-Windows-3.1-Latin-1", "ISO_8859-1:1987"},
    {"iso_8859-1", "ISO_8859-1:1987"},
    {"iso-8859-1", "ISO_8859-1:1987"},
    {"UTF_8", "UTF-8"},
    {"UNICODE-1-1-UTF-8", "UTF-8"},
    {"UTF_7", "UNICODE-1-1-UTF-7"},
    {"UTF-7", "UNICODE-1-1-UTF-7"},
    {"csUnicode11UTF7", "UNICODE-1-1-UTF-7"},
    {"IMAP-UTF-7", "IMAP-MODIFIED-UTF-7"},
    {"IMAP_UTF_7", "IMAP-MODIFIED-UTF-7"},
    {"ISO-10646-UCS-4", "ISO-10646-UCS-4"},
    {"ESCAPED_UNICODE", "ESCAPED_UNICODE"},
    {"ISO-10646-UCS-2", "ISO-10646-UCS-2"},
    {"csUnicode11", "ISO-10646-UCS-2"},
    {"ISO-10646-UCS-BASIC", "ISO-10646-UCS-2"},
    {"csUnicodeASCII", "ISO-10646-UCS-2"},
    {"ISO-10646-Unicode-Latin1", "ISO-10646-UCS-2"},
    {"csUnicodeLatin1", "ISO-10646-UCS-2"},
    {"ISO-10646", "ISO-10646-UCS-2"},
    {"ISO-10646-J-1", "ISO-10646-UCS-2"},
    {"euc-jp", "Extended_UNIX_Code_Packed_Format_for_Japanese"},
    {"euc_jp", "Extended_UNIX_Code_Packed_Format_for_Japanese"},
};

const uint32_t TEncodingRegistry::fStaticAliasListLength =
    sizeof fStaticAliasList / sizeof fStaticAliasList[0];
