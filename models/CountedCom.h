// CountedObject: the IUnknown (and, where the interface asks for it, the
// IDispatch) of a fake COM object: an interlocked reference count that
// starts at 1 (the creator's), QueryInterface for IUnknown and the one
// interface, deletion at the last Release, and a ledger shared by the
// objects of one model, so a test sees every object released.
#pragma once

#include <oaidl.h>
#include <unknwn.h>

#include <atomic>
#include <type_traits>

namespace fakes {

// Objects of one model that are alive (created and not yet released).
class ComLedger {
public:
    void Created() { ++m_live; }
    void Destroyed() { --m_live; }
    int Live() const { return m_live; }

private:
    std::atomic<int> m_live{0};
};

template <typename Interface>
class CountedObject : public Interface {
public:
    explicit CountedObject(ComLedger& ledger) : m_ledger(ledger) { m_ledger.Created(); }
    virtual ~CountedObject() { m_ledger.Destroyed(); }
    CountedObject(const CountedObject&) = delete;
    CountedObject& operator=(const CountedObject&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override
    {
        if (iid == IID_IUnknown || iid == __uuidof(Interface)) {
            *object = static_cast<Interface*>(this);
            AddRef();
            return S_OK;
        }
        *object = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_references; }
    ULONG STDMETHODCALLTYPE Release() override
    {
        const ULONG left = --m_references;
        if (left == 0)
            delete this;
        return left;
    }

protected:
    ComLedger& m_ledger;

private:
    std::atomic<ULONG> m_references{1};
};

// The IDispatch part of a dual interface, which the service never calls.
template <typename Interface>
class CountedDispatch : public CountedObject<Interface> {
public:
    using CountedObject<Interface>::CountedObject;
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override
    {
        return E_NOTIMPL;
    }
};

} // namespace fakes
