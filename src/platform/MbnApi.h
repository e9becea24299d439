// The Mobile Broadband API interfaces the service uses. The toolchain ships
// no declarations, so they are written here; the slot order of each vtable
// must match the platform's exactly: a wrong order works under fakes and
// crashes on Windows.
#pragma once

#include <objbase.h>
#include <oaidl.h>

struct IMbnInterface;
// Types of slots the service never calls: opaque, the pointers keep the
// slot layout.
struct IMbnSubscriberInformation;
struct IMbnConnection;
struct MBN_INTERFACE_CAPS;
struct MBN_PROVIDER;
enum MBN_READY_STATE : int;

// {DCBBBAB6-201B-4BBB-AAEE-338E368AF6FA}
constexpr IID IID_IMbnInterfaceManager = {0xDCBBBAB6, 0x201B, 0x4BBB, {0xAA, 0xEE, 0x33, 0x8E, 0x36, 0x8A, 0xF6, 0xFA}};
// {BDFEE05B-4418-11DD-90ED-001C257CCFF1}
constexpr CLSID CLSID_MbnInterfaceManager = {
    0xBDFEE05B, 0x4418, 0x11DD, {0x90, 0xED, 0x00, 0x1C, 0x25, 0x7C, 0xCF, 0xF1}};

struct IMbnInterfaceManager : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetInterface(LPCWSTR interfaceID, IMbnInterface** mbnInterface) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetInterfaces(SAFEARRAY** mbnInterfaces) = 0;
};
__CRT_UUID_DECL(IMbnInterfaceManager, 0xDCBBBAB6, 0x201B, 0x4BBB, 0xAA, 0xEE, 0x33, 0x8E, 0x36, 0x8A, 0xF6, 0xFA)

// {DCBBBAB6-2001-4BBB-AAEE-338E368AF6FA}
constexpr IID IID_IMbnInterface = {0xDCBBBAB6, 0x2001, 0x4BBB, {0xAA, 0xEE, 0x33, 0x8E, 0x36, 0x8A, 0xF6, 0xFA}};

struct IMbnInterface : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE get_InterfaceID(BSTR* interfaceID) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetInterfaceCapability(MBN_INTERFACE_CAPS* interfaceCaps) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetSubscriberInformation(IMbnSubscriberInformation** subscriberInformation) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetReadyState(MBN_READY_STATE* readyState) = 0;
    virtual HRESULT STDMETHODCALLTYPE InEmergencyMode(VARIANT_BOOL* emergencyMode) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetHomeProvider(MBN_PROVIDER* homeProvider) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetPreferredProviders(SAFEARRAY** preferredProviders) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetPreferredProviders(SAFEARRAY* preferredProviders, ULONG* requestID) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetVisibleProviders(ULONG* age, SAFEARRAY** visibleProviders) = 0;
    virtual HRESULT STDMETHODCALLTYPE ScanNetwork(ULONG* requestID) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetConnection(IMbnConnection** mbnConnection) = 0;
};
__CRT_UUID_DECL(IMbnInterface, 0xDCBBBAB6, 0x2001, 0x4BBB, 0xAA, 0xEE, 0x33, 0x8E, 0x36, 0x8A, 0xF6, 0xFA)

// The software and hardware radio states: 32 bits.
enum MBN_RADIO : int {
    MBN_RADIO_OFF = 0,
    MBN_RADIO_ON = 1,
};

// {DCCCCAB6-201F-4BBB-AAEE-338E368AF6FA}
constexpr IID IID_IMbnRadio = {0xDCCCCAB6, 0x201F, 0x4BBB, {0xAA, 0xEE, 0x33, 0x8E, 0x36, 0x8A, 0xF6, 0xFA}};

struct IMbnRadio : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE get_SoftwareRadioState(MBN_RADIO* softwareRadioState) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_HardwareRadioState(MBN_RADIO* hardwareRadioState) = 0;
    // Asynchronous: the outcome arrives at IMbnRadioEvents.
    virtual HRESULT STDMETHODCALLTYPE SetSoftwareRadioState(MBN_RADIO radioState, ULONG* requestID) = 0;
};
__CRT_UUID_DECL(IMbnRadio, 0xDCCCCAB6, 0x201F, 0x4BBB, 0xAA, 0xEE, 0x33, 0x8E, 0x36, 0x8A, 0xF6, 0xFA)

// {DCDDDAB6-201F-4BBB-AAEE-338E368AF6FA}
constexpr IID IID_IMbnRadioEvents = {0xDCDDDAB6, 0x201F, 0x4BBB, {0xAA, 0xEE, 0x33, 0x8E, 0x36, 0x8A, 0xF6, 0xFA}};

struct IMbnRadioEvents : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE OnRadioStateChange(IMbnRadio* newInterface) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnSetSoftwareRadioStateComplete(IMbnRadio* newInterface, ULONG requestID,
                                                                      HRESULT status) = 0;
};
__CRT_UUID_DECL(IMbnRadioEvents, 0xDCDDDAB6, 0x201F, 0x4BBB, 0xAA, 0xEE, 0x33, 0x8E, 0x36, 0x8A, 0xF6, 0xFA)
