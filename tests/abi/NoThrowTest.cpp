// No exception leaves the library. Each entry point below is run with the
// 1st, 2nd, ... allocation of a call failing for real (this program
// replaces the global operator new), until a run makes no allocation fail.
// Every run must return normally.
#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <new>

#include "alerts/AlertManager.h"
#include "events/auth/uAuthEventFactory.h"
#include "events/uDeviceManagementAgent.h"
#include "events/uDeviceManagementEventFactory.h"
#include "peripherals/BundleListParser.h"
#include "peripherals/PeripheralDeviceRewriter.h"
#include "peripherals/PeripheralDevices.h"
#include "security/SignatureVerifier.h"
#include "state/SCEPEnrollUtility.h"
#include "state/uSystemState.h"
#include "support/LogCapture.h"
#include "support/TempDatabase.h"
#include "support/TestQueue.h"

namespace {

long g_allocations = -1;  // counts down to the allocation that fails; -1 off
bool g_failed = false;

void* Allocate(std::size_t size) {
  return g_allocations >= 0 && g_allocations-- == 0 ? (g_failed = true, nullptr) : std::malloc(size == 0 ? 1 : size);
}

void* AllocateOrThrow(std::size_t size) {
  if (void* memory = Allocate(size)) return memory;
  throw std::bad_alloc();
}

struct EntryPoint { const char* name; std::function<void()> call; };
void PrintTo(const EntryPoint& entry, std::ostream* os) { *os << entry.name; }

// A status (four zero bytes of payload), a provisioning, a sign-in reply cut short.
message_extra_t g_message{413, 1, {}}, g_provisioning{413, 30, {}}, g_reply{264, 2, {}};

const EntryPoint kEntryPoints[] = {
    {"DeviceManagementFactory", [] { uDeviceManagementEventFactory::GetInstance()->CreateEventFromMessage(g_provisioning); }},
    {"AuthFactory", [] { uAuthEventFactory::GetInstance()->CreateEventFromMessage(g_reply, VM_MSG_HEADER_SIZE); }},
    {"Agent", [] { uDeviceManagementAgent::Instance()->handleMessage(g_message, VM_MSG_HEADER_SIZE + 4); }},
    // The plain entry points answer 0 whatever happens inside.
    {"SendIppStatusMessageToEmsc", [] { EXPECT_EQ(0, SendIppStatusMessageToEmsc(3)); }},
    {"SendMessageToEmsc", [] { EXPECT_EQ(0, SendMessageToEmsc(5, "ab", 2)); }},
    {"AlertManager_SetAlert", [] { AlertManager_SetAlert("NoMemory", "test", 2, "d [AI1]", "x", "", "cat", 1, 1, 2); }},
    {"AlertManager_SetEvent", [] { AlertManager_SetBasicEvent("NoMemory", "test", 1); }},
    {"SetStatusSystemState", [] { SetStatusSystemState("status/system/state/network", "s", "success", "i"); }},
    {"GetStatusSystemStateStatus", [] { GetStatusSystemStateStatus("status/system/state/network"); }},
    {"RewritePeripheralDeviceDisplayName", [] { RewritePeripheralDeviceDisplayName(1, 2, "Headset"); }},
    {"GetPeripheralDeviceFwFilePathByDeviceIndex", [] { GetPeripheralDeviceFwFilePathByDeviceIndex(0); }},
    // Records made by the first, unfailing call: a constructor has no failure value to return.
    {"RewritePeripheralInfo", [] { static PeripheralInfo in, out; PeripheralDeviceRewriter::Instance()->RewritePeripheralInfo(in, out); }},
    {"BundleList", [] { BundleListParser::GetDeviceReWrittenBundleList(); }},
    {"check_cert_expired", [] { check_cert_expired("/nonexistent/device.crt"); }},
    {"extract_signature", [] { extract_signature("/nonexistent/file", "/nonexistent/file.sig"); }},
};

class NoThrow : public ::testing::TestWithParam<EntryPoint> {
 protected:
  void SetUp() override { UseProcessQueuePrefix(); }
  TempDatabase db_;
};

TEST_P(NoThrow, EveryFailedAllocationIsHandledInside) {
  GetParam().call();  // once first, so the platform has opened its database and singletons exist
  for (long n = 0; n < 5000; ++n) {
    g_failed = false;
    g_allocations = n;  // off again once that allocation failed
    EXPECT_NO_THROW(GetParam().call()) << "allocation " << n + 1 << " failed";
    g_allocations = -1;
    if (HasFailure() || !g_failed) return;
  }
  FAIL() << "still allocating after 5000 allocations";
}

INSTANTIATE_TEST_SUITE_P(EntryPoints, NoThrow, ::testing::ValuesIn(kEntryPoints),
                         [](const ::testing::TestParamInfo<EntryPoint>& info) { return info.param.name; });

// A failed allocation reads as a type the factory does not build, and says so.
TEST(NoThrowFactory, FailedAllocationLogsTheFactoryLine) {
  uDeviceManagementEventFactory* factory = uDeviceManagementEventFactory::GetInstance();
  ASSERT_TRUE(factory->CreateEventFromMessage(g_message));  // once first, so only the event is allocated below
  LogCapture log;
  g_allocations = 0;
  EXPECT_FALSE(factory->CreateEventFromMessage(g_message));
  g_allocations = -1;
  EXPECT_TRUE(log.Logged(VM_LOG_MODULE_EMS, LOG_ERR, "uDeviceManagementEventFactory", "CreateEventFromMessage", "Error - Could not"));
}

}  // namespace

// Every allocation of the program goes through the counter above.
void* operator new(std::size_t size) { return AllocateOrThrow(size); }
void* operator new[](std::size_t size) { return AllocateOrThrow(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
