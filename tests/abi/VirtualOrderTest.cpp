// The order of the virtual operations of the exported classes, as a program
// built against the installed headers sees it. Such a program calls a virtual
// operation by its slot in the table, so a slot that moves calls another
// function. The slot is read from what the compiler made of each class.
#include <gtest/gtest.h>

#include <boost/core/demangle.hpp>

#include <cstddef>
#include <cstring>
#include <numeric>
#include <string>
#include <typeinfo>
#include <vector>

#include "alerts/AlertUINotifier.h"
#include "ems/EMSMessageBuilderSfb.h"
#include "events/auth/uAuthEvent.h"
#include "events/auth/uAuthHandler.h"
#include "events/uDeviceManagementEvent.h"
#include "events/uDeviceManagementEventHandler.h"
#include "platform/IBoolElement.h"
#include "platform/uHTTPEvent.h"
#include "platform/uIPCSender.h"

namespace {

// The table slot of a virtual member function, counted from the first entry
// after the table's header; -1 for a non-virtual one. The Itanium C++ ABI
// keeps 1 + the slot's byte offset in a pointer to a virtual member; its ARM
// variant keeps the offset and marks virtual members in the adjustment word.
template <typename Method>
long Slot(Method method) {
  static_assert(sizeof(Method) == 2 * sizeof(std::ptrdiff_t), "Itanium member pointer");
  std::ptrdiff_t words[2];
  std::memcpy(words, &method, sizeof words);
  const long size = sizeof(void*);
#if defined(__arm__) || defined(__aarch64__)
  return (words[1] & 1) == 0 ? -1 : static_cast<long>(words[0]) / size;
#else
  return (words[0] & 1) == 0 ? -1 : static_cast<long>(words[0] - 1) / size;
#endif
}

// A class's operations in the order they must hold, from slot `first` on
// (2 after two destructors).
struct Order { std::string name; long first; std::vector<long> slots; };

template <typename T> std::string Name() { return boost::core::demangle(typeid(T).name()); }

// The slot of `Class`'s HandleEvent for `Event`.
template <typename Class, typename Event> long On() { return Slot<void (Class::*)(Event&)>(&Class::HandleEvent); }

// Destructors, GetStr, GetSender, GetReceiver, BaseDispatch, the two numbers,
// the three payload operations, EventDirection, then the family's Dispatch.
template <typename Handler, typename Event>
Order EventOrder() {
  return {Name<Event>(), 2, {Slot(&Event::GetStr), Slot(&Event::GetSender), Slot(&Event::GetReceiver), Slot(&Event::BaseDispatch),
           Slot(&Event::getEventFamilyType), Slot(&Event::getEventType), Slot(&Event::getEventData), Slot(&Event::GetDataBuffer),
           Slot(&Event::GetDataBufferSize), Slot(&Event::EventDirection), Slot<void (Event::*)(Handler&)>(&Event::Dispatch)}};
}

// A family handler: the twelve operations of the platform's handler chain,
// HandleBaseEv, UnhandledEvent, then one HandleEvent per event class in the
// family's order.
template <typename Handler, typename Base, typename... Events>
Order HandlerOrder() {
  return {Name<Handler>(), 2, {Slot(&uHTTPHandler::GetName), Slot(&uHTTPHandler::GetLogPad), Slot(&uHTTPHandler::HandleBaseEv),
           Slot(&uHTTPHandler::UnhandledEvent), On<uHTTPHandler, uHTTPRequestEv>(), On<uHTTPHandler, uHTTPDownloadReqEv>(),
           On<uHTTPHandler, uHTTPResponseEv>(), On<uHTTPHandler, uHTTPRejectResponseEv>(), On<uHTTPModule, uHTTPSuccessResponseEv>(),
           On<uHTTPModule, uHTTPDownloadSuccessResponseEv>(), Slot(&uHTTPModule::AllocateNextModule),
           Slot(&uHTTPModule::NextModuleAllocator), Slot<void (Handler::*)(Base&)>(&Handler::HandleBaseEv),
           Slot<void (Handler::*)(Base&)>(&Handler::UnhandledEvent), On<Handler, Events>()...}};
}

// A family: its base event and each event class, its handler and state
// handler, the events listed in the handlers' order.
template <typename Handler, typename StateHandler, typename Base, typename... Events>
void AddFamily(std::vector<Order>& orders) {
  orders.insert(orders.end(), {EventOrder<Handler, Base>(), EventOrder<Handler, Events>()...,
                               HandlerOrder<Handler, Base, Events...>(), HandlerOrder<StateHandler, Base, Events...>()});
}

std::vector<Order> Orders() {
  std::vector<Order> orders = {
      // The sender's and the observer's destructors come last.
      {"uIPCSender", 0, {Slot(&uIPCSender::SendEvent), Slot<int (uIPCSender::*)(const message_extra_t&, unsigned int, vm_mq_id)>(
        &uIPCSender::SendMessage), Slot<int (uIPCSender::*)(const message_t&, unsigned int, vm_mq_id)>(&uIPCSender::SendMessage)}},
      {"EMSMessageBuilderSfb", 2, {Slot(&EMSMessageBuilderSfb::BuildStatusBaseMsg), Slot(&EMSMessageBuilderSfb::BuildStatusMsg),
        Slot(&EMSMessageBuilderSfb::EmsGetStatusStr), Slot(&EMSMessageBuilderSfb::FillUserDataKeysConf)}},
      {"AlertUINotifier", 0, {Slot(&AlertUINotifier::AlertCallback), Slot(&AlertUINotifier::EventCallback)}},
      // The bool leaf's own operation follows every operation of a node.
      {"IBoolElement", Slot(&ISerializable::ClearChildren) + 1, {Slot<void (IBoolElement::*)(bool)>(&IBoolElement::SetValue)}},
  };
  AddFamily<uDeviceManagementEventHandler, uDeviceManagementStateHandler, uDeviceManagementEvent, GetLocalCertEv,
            SendIppStatusEv, SendAlertEv, SendSyncConfigEv, ProvisioningEv, ProvSecurityEv, ProvDeviceCertEv,
            PrivateLabelingEv, UserConfirmationEv, LocalConfigurationEv, EmsFsFileChangeEv, AndriodFWUpdateEv>(orders);
  AddFamily<uAuthHandler, uAuthStateHandler, uAuthEvent, AuthGetUrlAndCodeEv, AuthCancelUrlAndCodeEv,
            AuthGetUrlAndCodeResponseEv, AuthCredentialsResponseEv, AuthRejectResponseEv>(orders);
  return orders;
}

class VirtualOrder : public ::testing::TestWithParam<Order> {};

TEST_P(VirtualOrder, OperationsHoldTheirSlots) {
  std::vector<long> expected(GetParam().slots.size());
  std::iota(expected.begin(), expected.end(), GetParam().first);
  EXPECT_EQ(expected, GetParam().slots);
}

INSTANTIATE_TEST_SUITE_P(ExportedClasses, VirtualOrder, ::testing::ValuesIn(Orders()),
                         [](const ::testing::TestParamInfo<Order>& info) { return info.param.name; });

}  // namespace
