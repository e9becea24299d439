// The slots of the Mobile Broadband interfaces the product declares itself:
// a wrong order works under fakes and crashes on Windows, so each method's
// place in its vtable is pinned to the platform's.
#include "platform/MbnApi.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

namespace {

// The vtable slot of a virtual member function: this ABI represents a
// pointer to one as 1 + its byte offset in the vtable.
template <typename Method>
std::ptrdiff_t SlotOf(Method method)
{
    static_assert(sizeof(Method) == 2 * sizeof(std::ptrdiff_t), "a pointer to member is two words");
    std::ptrdiff_t words[2];
    std::memcpy(words, &method, sizeof(words));
    return (words[0] - 1) / static_cast<std::ptrdiff_t>(sizeof(void*));
}

TEST(MbnApi, InterfaceManagerSlots)
{
    EXPECT_EQ(SlotOf(&IMbnInterfaceManager::GetInterface), 3);
    EXPECT_EQ(SlotOf(&IMbnInterfaceManager::GetInterfaces), 4);
}

TEST(MbnApi, InterfaceSlots)
{
    EXPECT_EQ(SlotOf(&IMbnInterface::get_InterfaceID), 3);
    EXPECT_EQ(SlotOf(&IMbnInterface::GetInterfaceCapability), 4);
    EXPECT_EQ(SlotOf(&IMbnInterface::GetSubscriberInformation), 5);
    EXPECT_EQ(SlotOf(&IMbnInterface::GetReadyState), 6);
    EXPECT_EQ(SlotOf(&IMbnInterface::InEmergencyMode), 7);
    EXPECT_EQ(SlotOf(&IMbnInterface::GetHomeProvider), 8);
    EXPECT_EQ(SlotOf(&IMbnInterface::GetPreferredProviders), 9);
    EXPECT_EQ(SlotOf(&IMbnInterface::SetPreferredProviders), 10);
    EXPECT_EQ(SlotOf(&IMbnInterface::GetVisibleProviders), 11);
    EXPECT_EQ(SlotOf(&IMbnInterface::ScanNetwork), 12);
    EXPECT_EQ(SlotOf(&IMbnInterface::GetConnection), 13);
}

TEST(MbnApi, RadioSlots)
{
    EXPECT_EQ(SlotOf(&IMbnRadio::get_SoftwareRadioState), 3);
    EXPECT_EQ(SlotOf(&IMbnRadio::get_HardwareRadioState), 4);
    EXPECT_EQ(SlotOf(&IMbnRadio::SetSoftwareRadioState), 5);
}

TEST(MbnApi, RadioEventsSlots)
{
    EXPECT_EQ(SlotOf(&IMbnRadioEvents::OnRadioStateChange), 3);
    EXPECT_EQ(SlotOf(&IMbnRadioEvents::OnSetSoftwareRadioStateComplete), 4);
}

TEST(MbnApi, RadioStates)
{
    EXPECT_EQ(sizeof(MBN_RADIO), 4u);
    EXPECT_EQ(MBN_RADIO_OFF, 0);
    EXPECT_EQ(MBN_RADIO_ON, 1);
}

TEST(MbnApi, TheSlotReadingSeesIUnknownWhereItIs)
{
    EXPECT_EQ(SlotOf(&IUnknown::AddRef), 1);
    EXPECT_EQ(SlotOf(&IUnknown::Release), 2);
}

TEST(MbnApi, Identifiers)
{
    const IID manager = {0xDCBBBAB6, 0x201B, 0x4BBB, {0xAA, 0xEE, 0x33, 0x8E, 0x36, 0x8A, 0xF6, 0xFA}};
    const IID mbnInterface = {0xDCBBBAB6, 0x2001, 0x4BBB, {0xAA, 0xEE, 0x33, 0x8E, 0x36, 0x8A, 0xF6, 0xFA}};
    const CLSID managerClass = {0xBDFEE05B, 0x4418, 0x11DD, {0x90, 0xED, 0x00, 0x1C, 0x25, 0x7C, 0xCF, 0xF1}};
    EXPECT_TRUE(IsEqualIID(IID_IMbnInterfaceManager, manager));
    EXPECT_TRUE(IsEqualIID(__uuidof(IMbnInterfaceManager), manager));
    EXPECT_TRUE(IsEqualIID(IID_IMbnInterface, mbnInterface));
    EXPECT_TRUE(IsEqualIID(__uuidof(IMbnInterface), mbnInterface));
    EXPECT_TRUE(IsEqualCLSID(CLSID_MbnInterfaceManager, managerClass));
    const IID radio = {0xDCCCCAB6, 0x201F, 0x4BBB, {0xAA, 0xEE, 0x33, 0x8E, 0x36, 0x8A, 0xF6, 0xFA}};
    const IID radioEvents = {0xDCDDDAB6, 0x201F, 0x4BBB, {0xAA, 0xEE, 0x33, 0x8E, 0x36, 0x8A, 0xF6, 0xFA}};
    EXPECT_TRUE(IsEqualIID(IID_IMbnRadio, radio));
    EXPECT_TRUE(IsEqualIID(__uuidof(IMbnRadio), radio));
    EXPECT_TRUE(IsEqualIID(IID_IMbnRadioEvents, radioEvents));
    EXPECT_TRUE(IsEqualIID(__uuidof(IMbnRadioEvents), radioEvents));
}

}  // namespace
