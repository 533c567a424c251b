// Keeps exceptions inside the library.
//
// No exception may leave an exported function: its callers are other
// processes' code, often C. An exported function that can meet one (an
// allocation of the standard library failing, mostly) is written as a
// function-try-block ending in DM_CATCH_AT_BOUNDARY, which logs one error line
// as that function and returns the function's failure value:
//
//   int Foo(const char* path) try {
//     ...
//   } DM_CATCH_AT_BOUNDARY(VM_LOG_MODULE_ALERTS, -1)
#ifndef DEVMGMT_PLATFORM_DMBOUNDARY_H_
#define DEVMGMT_PLATFORM_DMBOUNDARY_H_

#include <exception>
#include <new>

#include "vmLog.h"

// Logs the exception being handled as `site` of `unit`. Call it only from a
// catch handler.
inline void DmLogCaughtException(int module, const char* unit, const DmLogSite& site) noexcept {
  try {
    throw;
  } catch (const std::bad_alloc&) {
    DM_LOG_UNIT_AT(site, module, unit, LOG_ERR, "Out of memory");
  } catch (const std::exception& error) {
    DM_LOG_UNIT_AT(site, module, unit, LOG_ERR, "Unexpected failure: %s", error.what());
  } catch (...) {
    DM_LOG_UNIT_AT(site, module, unit, LOG_ERR, "Unexpected failure");
  }
}

#define DM_CATCH_AT_BOUNDARY_UNIT(module, unit, failure)          \
  catch (...) {                                                   \
    DmLogCaughtException((module), (unit), DM_LOG_SITE);          \
    return failure;                                               \
  }
#define DM_CATCH_AT_BOUNDARY(module, failure) DM_CATCH_AT_BOUNDARY_UNIT(module, FileName(__FILE__), failure)

#endif  // DEVMGMT_PLATFORM_DMBOUNDARY_H_
