// Static mapping tables of the built-in module (ISO-8859-1 and MacRoman).
#ifndef NLSCNV_FRAMEWORK_BUILTIN_TABLES_H
#define NLSCNV_FRAMEWORK_BUILTIN_TABLES_H

#include "nlscnv/converter.h"

extern "C" {
NLS_EXPORT extern const UnicodeTableSet latin1unicodetableset;
NLS_EXPORT extern const UnicodeTableSet macromanunicodetableset;
NLS_EXPORT extern const UnicodeTableList gStaticUnicodeToTableList[];
NLS_EXPORT extern const UnicodeTableList gStaticUnicodeFromTableList[];
NLS_EXPORT extern const resourceMapTable resourceTableStatic[];
NLS_EXPORT extern const uint16_t iso88591ToTbl[];
NLS_EXPORT extern const uint16_t iso88591FromTbl[];
}

#endif  // NLSCNV_FRAMEWORK_BUILTIN_TABLES_H
