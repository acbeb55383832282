// The module's entry point as a host uses it: what registers, what is refused
// with which code, and what the registered interface offers.
#include <gtest/gtest.h>

#include "trove/abi.h"
#include "trove/host.h"
#include "trove/result_codes.h"

namespace {

using trove::host::Host;
using trove::host::Module;

TEST(ModuleEntry, OnlyTheRegisterReasonRegistersAndTheResultCellTellsHow) {
  Host host;
  auto& trace = host.captureTrace();
  Module module = host.openModule(TROVE_MODULE_PATH);
  ASSERT_TRUE(module.ok()) << module.status();
  for (uint32_t reason : {0u, 1u, 2u, 3u, 99u, 101u}) {
    int32_t cell = 0x1234;
    EXPECT_EQ(module.callEntry(host.root(), reason, &cell), 1) << reason;
    EXPECT_EQ(cell, 0x1234) << "reason " << reason << " touched the result cell";
  }
  EXPECT_EQ(host.counters().registerInterface, 0u);
  EXPECT_EQ(host.findInterface(TROVE_IID_REGISTRY), nullptr);

  // A root object without a method table is refused, not followed.
  TroveHostObject bare{nullptr, nullptr, nullptr};
  int32_t cell = 0;
  EXPECT_EQ(module.callEntry(&bare, TROVE_REASON_REGISTER, &cell), 0);
  EXPECT_EQ(cell, errInvalidArgument);
  EXPECT_EQ(module.callEntry(nullptr, TROVE_REASON_REGISTER, nullptr), 0);
  cell = 0x5555;
  EXPECT_EQ(module.callEntry(host.root(), TROVE_REASON_REGISTER, &cell), 1);
  EXPECT_EQ(cell, errOk);
  EXPECT_EQ(host.counters().registerInterface, 1u);
  EXPECT_FALSE(trace.contains("register")) << "a successful registration is silent";
  auto registry = host.findInterface(TROVE_IID_REGISTRY);
  ASSERT_NE(registry, nullptr);
  EXPECT_EQ(registry->methodCount, 23u);
  EXPECT_EQ(registry->propertyCount, 14u);

  // Every method but flush is reachable through the registered table.
  trove::host::Object object = host.createObject(TROVE_IID_REGISTRY);
  ASSERT_TRUE(object.initDone());
  EXPECT_EQ(object.call<TroveFlush>(TROVE_SLOT_FLUSH), errMethodNotFound);
  EXPECT_EQ(object.flush(), errOk);
  EXPECT_EQ(object.call<TroveClean>(TROVE_SLOT_CLEAN), errOk);
  // The constants a host reads.
  EXPECT_EQ(object.field<uint32_t>(TROVE_PROP_VERSION), 1u);
  EXPECT_EQ(object.field<uint32_t>(TROVE_PROP_NAME_CODE_PAGE), 1200u);
  char description[15] = {};
  EXPECT_TRUE(object.getProperty(TROVE_PROP_DESCRIPTION, description, 15u));
  EXPECT_STREQ(description, "properties map");
}

TEST(ModuleEntry, ARefusedRegistrationIsTracedAndReturnsItsCode) {
  trove::host::HostOptions options;
  options.root.registerResult = errNotSupported;
  Host host(options);
  auto& trace = host.captureTrace();
  Module module = host.openModule(TROVE_MODULE_PATH);
  ASSERT_TRUE(module.ok()) << module.status();
  int32_t cell = 0;
  EXPECT_EQ(module.callEntry(host.root(), TROVE_REASON_REGISTER, &cell), 0);
  EXPECT_EQ(cell, errNotSupported);
  auto lines = trace.lines();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0].level, uint32_t{TROVE_TRACE_REGISTRATION});
  EXPECT_EQ(lines[0].text, "Registry(IID_REGISTRY)registered [0x80000042 (Not supported)]");
  EXPECT_EQ(lines[1].level, uint32_t{TROVE_TRACE_ERROR});
  EXPECT_EQ(lines[1].text, "cannot register \"Registry\" interface");
  EXPECT_EQ(host.findInterface(TROVE_IID_REGISTRY), nullptr);
  EXPECT_EQ(host.registerModule(module), errNotSupported);
  host.rootOptions().registerResult = errOk;
  EXPECT_TRUE(host.registerModule(module)) << "a later registration may succeed";
  EXPECT_NE(host.findInterface(TROVE_IID_REGISTRY), nullptr);
}

}  // namespace
