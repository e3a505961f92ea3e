// The handler and its context live in a record that is published whole
// through one atomic pointer, so a diagnostic never pairs one handler with
// another's context. A delivery announces itself in the record's count of
// users and then checks that the record is still the current one; a change
// publishes the new record and then waits until the old one has no users.
// With sequentially consistent operations on both sides, a delivery either
// is seen by that wait or sees the new record: after the change returns,
// the old handler is neither running nor called again.
//
// Two records alternate for host handlers; the default one never changes.
// A record is rewritten only after it stopped being current and its users
// drained, and a delivery reads a record's fields only after it found the
// record current while counted as a user, so no read meets a write.
#include "nlscnv/support/diagnostic_handler.h"

#include <atomic>
#include <mutex>
#include <thread>

namespace {

struct HandlerRecord {
  NLS_DiagnosticHandler handler;
  void* context;
  std::atomic<int> users;
};

HandlerRecord gDefault{NLS_PrintDiagnostic, nullptr, {0}};
HandlerRecord gRecords[2] = {{nullptr, nullptr, {0}}, {nullptr, nullptr, {0}}};
std::atomic<HandlerRecord*> gCurrent{&gDefault};
std::mutex gChangeLock;  // one change at a time

// Deliveries running on this thread (a handler may cause diagnostics).
thread_local int tDeliveries = 0;

}  // namespace

namespace nls {

void DeliverDiagnostic(int line, const char* unit) {
  HandlerRecord* record;
  for (;;) {
    record = gCurrent.load();
    record->users.fetch_add(1);
    if (gCurrent.load() == record) break;
    record->users.fetch_sub(1);
  }
  if (record->handler != nullptr) {
    ++tDeliveries;
    record->handler(record->context, line, unit);
    --tDeliveries;
  }
  record->users.fetch_sub(1);
}

int SetDiagnosticHandler(NLS_DiagnosticHandler handler, void* context) {
  if (tDeliveries != 0) return NLS_E_ARGUMENT;
  std::lock_guard<std::mutex> lock(gChangeLock);
  HandlerRecord* old = gCurrent.load();
  HandlerRecord* next = old == &gRecords[0] ? &gRecords[1] : &gRecords[0];
  next->handler = handler;
  next->context = context;
  gCurrent.store(next);
  while (old->users.load() != 0) std::this_thread::yield();
  return 1;
}

}  // namespace nls
