#include "models/ComClass.h"

#include "platform/Api.h"

#include <array>
#include <mutex>
#include <stdexcept>
#include <utility>

namespace fakes {
namespace {

using CreateFunction = decltype(&::CoCreateInstance);

// More classes than any environment installs at once (the simulated laptop
// has three).
constexpr size_t kHooks = 16;

struct Installed {
    bool taken = false;
    CLSID clsid = {};
    ComClass::Make make;  // empty: ended while a hook of another kind still goes on to it
    CreateFunction previous = nullptr;
};

std::mutex& Lock()
{
    static std::mutex lock;
    return lock;
}

// Under Lock().
std::array<Installed, kHooks>& Table()
{
    static std::array<Installed, kHooks> table;
    return table;
}

HRESULT Create(size_t hook, REFCLSID clsid, LPUNKNOWN outer, DWORD context, REFIID iid, LPVOID* object)
{
    CreateFunction previous = nullptr;
    ComClass::Make make;
    {
        std::lock_guard<std::mutex> lock(Lock());
        const Installed& installed = Table()[hook];
        if (installed.make && IsEqualCLSID(clsid, installed.clsid))
            make = installed.make;
        else
            previous = installed.previous;
    }
    if (!make)
        return previous(clsid, outer, context, iid, object);
    *object = nullptr;
    if (outer != nullptr)
        return CLASS_E_NOAGGREGATION;
    if ((context & CLSCTX_INPROC_SERVER) == 0)
        return REGDB_E_CLASSNOTREG;
    IUnknown* created = nullptr;
    if (const HRESULT answer = make(&created); answer != S_OK)
        return answer;
    const HRESULT result = created->QueryInterface(iid, object);
    created->Release();
    return result;
}

template <size_t Hook>
HRESULT WINAPI HookFunction(REFCLSID clsid, LPUNKNOWN outer, DWORD context, REFIID iid, LPVOID* object)
{
    return Create(Hook, clsid, outer, context, iid, object);
}

template <size_t... Hook>
constexpr std::array<CreateFunction, kHooks> HookFunctions(std::index_sequence<Hook...>)
{
    return {&HookFunction<Hook>...};
}

constexpr std::array<CreateFunction, kHooks> kHookFunctions = HookFunctions(std::make_index_sequence<kHooks>());

}  // namespace

ComClass::ComClass(REFCLSID clsid, Make make)
{
    std::lock_guard<std::mutex> lock(Lock());
    std::array<Installed, kHooks>& table = Table();
    m_hook = 0;
    while (m_hook < kHooks && table[m_hook].taken)
        ++m_hook;
    if (m_hook == kHooks)
        throw std::length_error("every COM class hook is taken");
    CreateFunction& seam = os::api().CoCreateInstance;
    table[m_hook] = Installed{true, clsid, std::move(make), seam};
    seam = kHookFunctions[m_hook];
}

ComClass::~ComClass()
{
    std::lock_guard<std::mutex> lock(Lock());
    std::array<Installed, kHooks>& table = Table();
    Installed& own = table[m_hook];
    const CreateFunction hook = kHookFunctions[m_hook];
    CreateFunction& seam = os::api().CoCreateInstance;
    if (seam == hook) {
        seam = own.previous;
        own = Installed{};
        return;
    }
    for (Installed& later : table) {
        if (later.taken && later.previous == hook) {
            later.previous = own.previous;
            own = Installed{};
            return;
        }
    }
    own.make = nullptr;
}

}  // namespace fakes
