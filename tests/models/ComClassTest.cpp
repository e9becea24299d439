// ComClass: a model's class in front of CoCreateInstance of the seam, and
// the chain the installed classes make: each hands other classes on to the
// hook installed before it and puts that hook back when it ends, in order or
// not. Under them, COM without classes (FakeComRuntime).
#include "models/ComClass.h"

#include "fakes/FakeComRuntime.h"
#include "models/CountedCom.h"
#include "models/Journal.h"
#include "platform/Api.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using fakes::ComClass;
using testing::ElementsAre;
using testing::IsEmpty;
using CreateFunction = decltype(&::CoCreateInstance);

constexpr CLSID kFirstClass = {0x0C1A5500, 0x0001, 0x0002, {0, 0, 0, 0, 0, 0, 0, 1}};
constexpr CLSID kSecondClass = {0x0C1A5500, 0x0001, 0x0002, {0, 0, 0, 0, 0, 0, 0, 2}};
constexpr CLSID kOtherClass = {0x0C1A5500, 0x0001, 0x0002, {0, 0, 0, 0, 0, 0, 0, 3}};

// A hook of another kind over the classes: it goes on to what it found.
CreateFunction g_below = nullptr;
HRESULT WINAPI Forwarding(REFCLSID clsid, LPUNKNOWN outer, DWORD context, REFIID iid, LPVOID* object)
{
    return g_below(clsid, outer, context, iid, object);
}

class ComClassTest : public testing::Test {
protected:
    // Journals `name` and makes a counted object.
    ComClass::Make Maker(std::string name)
    {
        return [this, name](IUnknown** created) {
            fakes::Note(&m_made, name);
            *created = new fakes::CountedObject<IUnknown>(m_ledger);
            return S_OK;
        };
    }
    // CoCreateInstance of the seam; the object made, if any, goes back.
    HRESULT Create(REFCLSID clsid, REFIID iid = IID_IUnknown, DWORD context = CLSCTX_ALL, IUnknown* outer = nullptr)
    {
        IUnknown* object = nullptr;
        const HRESULT result =
            os::api().CoCreateInstance(clsid, outer, context, iid, reinterpret_cast<void**>(&object));
        if (object != nullptr)
            object->Release();
        return result;
    }
    bool ReachedCom(REFCLSID clsid) const
    {
        return !m_com.classRequests.empty() && IsEqualCLSID(m_com.classRequests.back().clsid, clsid);
    }

    fakes::FakeComRuntime m_com;
    fakes::Journal m_made;
    fakes::ComLedger m_ledger;
};

TEST_F(ComClassTest, ServesItsClassAndHandsTheOthersOn)
{
    const ComClass first(kFirstClass, Maker("first"));
    EXPECT_EQ(Create(kFirstClass), S_OK);
    EXPECT_THAT(m_made, ElementsAre("first"));
    EXPECT_TRUE(m_com.classRequests.empty());
    EXPECT_EQ(Create(kOtherClass), REGDB_E_CLASSNOTREG);
    EXPECT_TRUE(ReachedCom(kOtherClass));
    EXPECT_EQ(m_ledger.Live(), 0);
}

TEST_F(ComClassTest, EndingPutsBackTheHookItFound)
{
    const CreateFunction before = os::api().CoCreateInstance;
    {
        const ComClass first(kFirstClass, Maker("first"));
        EXPECT_NE(os::api().CoCreateInstance, before);
    }
    EXPECT_EQ(os::api().CoCreateInstance, before);
    EXPECT_EQ(Create(kFirstClass), REGDB_E_CLASSNOTREG);
    EXPECT_THAT(m_made, IsEmpty());
}

TEST_F(ComClassTest, EachClassGoesOnToTheOneInstalledBeforeIt)
{
    const ComClass first(kFirstClass, Maker("first"));
    const ComClass second(kSecondClass, Maker("second"));
    {
        // The newest of one class serves it while it lives.
        const ComClass newer(kFirstClass, Maker("newer"));
        EXPECT_EQ(Create(kFirstClass), S_OK);
    }
    EXPECT_EQ(Create(kFirstClass), S_OK);
    EXPECT_EQ(Create(kSecondClass), S_OK);
    EXPECT_EQ(Create(kOtherClass), REGDB_E_CLASSNOTREG);
    EXPECT_THAT(m_made, ElementsAre("newer", "first", "second"));
    EXPECT_TRUE(ReachedCom(kOtherClass));
}

TEST_F(ComClassTest, AClassThatEndsOutOfOrderLeavesTheChainWhole)
{
    const CreateFunction before = os::api().CoCreateInstance;
    {
        auto first = std::make_unique<ComClass>(kFirstClass, Maker("first"));
        const ComClass second(kSecondClass, Maker("second"));
        first.reset();
        EXPECT_EQ(Create(kFirstClass), REGDB_E_CLASSNOTREG);
        EXPECT_TRUE(ReachedCom(kFirstClass));
        EXPECT_EQ(Create(kSecondClass), S_OK);
    }
    EXPECT_EQ(os::api().CoCreateInstance, before);

    // Under a hook of another kind that still goes on to it, an ended class
    // serves nothing and hands every request on.
    auto first = std::make_unique<ComClass>(kFirstClass, Maker("first"));
    {
        os::ScopedApiOverride seam;
        g_below = seam->CoCreateInstance;
        seam->CoCreateInstance = &Forwarding;
        first.reset();
        EXPECT_EQ(Create(kFirstClass), REGDB_E_CLASSNOTREG);
        EXPECT_TRUE(ReachedCom(kFirstClass));
    }
    EXPECT_THAT(m_made, ElementsAre("second"));
}

TEST_F(ComClassTest, RefusesWhatComRefusesAndAnswersTheModelsFailure)
{
    const ComClass first(kFirstClass, Maker("first"));
    const ComClass failing(kSecondClass, [](IUnknown**) { return E_OUTOFMEMORY; });
    fakes::CountedObject<IUnknown> outer(m_ledger);
    EXPECT_EQ(Create(kFirstClass, IID_IUnknown, CLSCTX_ALL, &outer), CLASS_E_NOAGGREGATION);
    EXPECT_EQ(Create(kFirstClass, IID_IUnknown, CLSCTX_LOCAL_SERVER), REGDB_E_CLASSNOTREG);
    EXPECT_THAT(m_made, IsEmpty());
    EXPECT_EQ(Create(kSecondClass), E_OUTOFMEMORY);
    // An interface the object lacks: the object made goes back.
    EXPECT_EQ(Create(kFirstClass, IID_IClassFactory), E_NOINTERFACE);
    EXPECT_THAT(m_made, ElementsAre("first"));
    EXPECT_EQ(m_ledger.Live(), 1);  // the outer object only
    EXPECT_TRUE(m_com.classRequests.empty());
}

TEST_F(ComClassTest, TooManyClassesAtOnceThrow)
{
    const CreateFunction before = os::api().CoCreateInstance;
    {
        // Ended in the order of their installing, so each out of order.
        std::vector<std::unique_ptr<ComClass>> classes;
        const auto installSeventeen = [&] {
            for (int count = 0; count < 17; ++count)
                classes.push_back(std::make_unique<ComClass>(kFirstClass, Maker("first")));
        };
        EXPECT_THROW(installSeventeen(), std::length_error);
    }
    EXPECT_EQ(os::api().CoCreateInstance, before);
}

}  // namespace
