// The Mobile Broadband API interfaces the service uses. The toolchain ships
// no declarations, so they are written here; the slot order of each vtable
// must match the platform's exactly (a wrong order works under fakes and
// crashes on Windows), and tests pin it.
#pragma once

#include <objbase.h>
#include <oaidl.h>

struct IMbnInterface;

// {DCBBBAB6-201B-4BBB-AAEE-338E368AF6FA}
constexpr IID IID_IMbnInterfaceManager = {0xDCBBBAB6, 0x201B, 0x4BBB, {0xAA, 0xEE, 0x33, 0x8E, 0x36, 0x8A, 0xF6, 0xFA}};
// {BDFEE05B-4418-11DD-90ED-001C257CCFF1}
constexpr CLSID CLSID_MbnInterfaceManager = {0xBDFEE05B, 0x4418, 0x11DD, {0x90, 0xED, 0x00, 0x1C, 0x25, 0x7C, 0xCF, 0xF1}};

struct IMbnInterfaceManager : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetInterface(LPCWSTR interfaceID, IMbnInterface** mbnInterface) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetInterfaces(SAFEARRAY** mbnInterfaces) = 0;
};
