// Finding mapping tables by table id and loading a converter's table set.
#include "nlscnv/tables/mapping_tables.h"

#include "nlscnv/tables/shift_tables.h"

extern "C" {

const uint16_t* FindUTable(unsigned short tableId, const UnicodeTableList* list) {
  if (list == nullptr) return nullptr;
  for (; list->tableId != 0; ++list)
    if (list->tableId == tableId) return list->table;
  return nullptr;
}

const char* const* FindUTableName(unsigned short tableId, const resourceMapTable* map,
                                  int fromUnicode) {
  if (map == nullptr) return nullptr;
  for (; map->tableId != 0; ++map)
    if (map->tableId == tableId) return fromUnicode ? map->fromUnicodeNames : map->toUnicodeNames;
  return nullptr;
}

}  // extern "C"

namespace {

void ClearSlot(uTableSet* set, int i) {
  set->tables[i] = nullptr;
  set->shiftTables[i] = nullptr;
  set->slots[i] = UnicodeTableSlot{0, 0xFF, 0x00};
}

}  // namespace

// The table ids come from fTableSet; csid is not needed. A table id that is
// missing from the list, or whose scheme has no shift table, fails the load
// with -1010 (the slots filled before it stay filled, fTableCount is kept).
int TEncodingConverter::LoadUCS2TableSet(unsigned short, uTableSet* set, int fromUnicode) {
  for (int i = 0; i < 4; ++i) ClearSlot(set, i);
  uint32_t filled = 0;
  for (int i = 0; fTableSet != nullptr && i < 4; ++i) {
    const UnicodeTableSlot& slot = fTableSet->slots[i];
    if (slot.tableId == 0) break;
    set->slots[i] = slot;
    const uint16_t* table =
        fromUnicode ? LoadFromUCS2Table(slot.tableId) : LoadToUCS2Table(slot.tableId);
    const ShiftTable* shift = nls::ShiftTableForId(slot.tableId);
    if (table == nullptr || shift == nullptr) {
      fStatus = NLS_E_NO_TABLE;
      return NLS_E_NO_TABLE;
    }
    set->tables[i] = table;
    set->shiftTables[i] = shift;
    ++filled;
  }
  fTableCount = filled;
  fStatus = 1;
  return 1;
}

void TEncodingConverter::UnloadUCS2TableSet(uTableSet* set, int fromUnicode) {
  if (set == nullptr) return;
  for (int i = 0; i < 4; ++i) {
    const uint16_t id = set->slots[i].tableId;
    if (id != 0 && set->tables[i] != nullptr) {
      if (fromUnicode)
        UnloadFromUCS2Table(id);
      else
        UnloadToUCS2Table(id);
    }
    set->slots[i].tableId = 0;
    set->tables[i] = nullptr;
    set->shiftTables[i] = nullptr;
  }
}

const uint16_t* TEncodingConverter::LoadFromUCS2Table(unsigned short tableId) {
  return FindUTable(tableId, fFromUnicodeTables);
}

const uint16_t* TEncodingConverter::LoadToUCS2Table(unsigned short tableId) {
  return FindUTable(tableId, fToUnicodeTables);
}

// The tables are constant data: there is nothing to release.
void TEncodingConverter::UnloadFromUCS2Table(unsigned short) {}
void TEncodingConverter::UnloadToUCS2Table(unsigned short) {}
