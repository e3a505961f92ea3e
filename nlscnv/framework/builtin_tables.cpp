// PLACEHOLDER until the mapping tables land.
#include "nlscnv/framework/builtin_tables.h"

extern "C" {
const UnicodeTableSet latin1unicodetableset = {
    2, {{2, 0x00, 0xFF}, {0, 0xFF, 0}, {0, 0xFF, 0}, {0, 0xFF, 0}}};
const UnicodeTableSet macromanunicodetableset = {
    6, {{6, 0x00, 0xFF}, {0, 0xFF, 0}, {0, 0xFF, 0}, {0, 0xFF, 0}}};
const uint16_t iso88591ToTbl[] = {0x0002, 0x0004, 0x0005, 0x000b, 0x0000, 0x0000,
                                  0x007e, 0x0000, 0x00a0, 0x00ff, 0x00a0};
const uint16_t iso88591FromTbl[] = {0x0002, 0x0004, 0x0005, 0x000b, 0x0000, 0x0000,
                                    0x007e, 0x0000, 0x00a0, 0x00ff, 0x00a0};
const UnicodeTableList gStaticUnicodeToTableList[] = {{2, iso88591ToTbl}, {0, nullptr}};
const UnicodeTableList gStaticUnicodeFromTableList[] = {{2, iso88591FromTbl}, {0, nullptr}};
const resourceMapTable resourceTableStatic[] = {
    {2, {"L8859-1.UF", nullptr, nullptr, nullptr}, {"L8859-1.UT", nullptr, nullptr, nullptr}},
    {0, {nullptr, nullptr, nullptr, nullptr}, {nullptr, nullptr, nullptr, nullptr}}};
}
