// Owning wrappers of platform handles: one small policy template and one-line
// aliases. Closing keeps GetLastError() as it was, so a failure code read
// after an early return is the one of the call that failed. Handles whose
// close is a seam call close through the seam, so that scripted handles of a
// test never reach the real close.
#pragma once

#include "platform/Api.h"

#include <oleauto.h>

#include <windows.h>

#include <cstdint>
#include <cstdio>
#include <utility>

namespace os {

// `Close` is the function that closes a handle; `InvalidValue` is the handle
// value that means "none" (0, or -1 for the handles of files and searches).
template <typename Handle, auto Close, intptr_t InvalidValue = 0>
class UniqueAny {
    static Handle Invalid() { return reinterpret_cast<Handle>(InvalidValue); }

public:
    UniqueAny() = default;
    explicit UniqueAny(Handle handle) : m_handle(handle) {}
    ~UniqueAny() { reset(); }
    UniqueAny(UniqueAny&& other) noexcept : m_handle(other.release()) {}
    UniqueAny& operator=(UniqueAny&& other) noexcept
    {
        if (this != &other)
            reset(other.release());
        return *this;
    }
    UniqueAny(const UniqueAny&) = delete;
    UniqueAny& operator=(const UniqueAny&) = delete;

    Handle get() const { return m_handle; }
    explicit operator bool() const { return m_handle != Invalid(); }

    Handle release() { return std::exchange(m_handle, Invalid()); }

    void reset(Handle handle = Invalid())
    {
        const Handle old = std::exchange(m_handle, handle);
        if (old != Invalid()) {
            const DWORD error = GetLastError();
            Close(old);
            SetLastError(error);
        }
    }

    // For APIs that return the handle through an out-parameter.
    Handle* put()
    {
        reset();
        return &m_handle;
    }

private:
    Handle m_handle = Invalid();
};

inline BOOL WINAPI CloseServiceHandleThroughSeam(SC_HANDLE handle) { return api().CloseServiceHandle(handle); }
inline BOOL WINAPI FreeProcessHeapBlockThroughSeam(void* block) { return api().HeapFree(GetProcessHeap(), 0, block); }
// A block of the process heap (flags 0) for a UniqueProcessHeapBlock.
inline void* AllocateFromProcessHeap(ULONG length) { return api().HeapAlloc(GetProcessHeap(), 0, length); }
inline void WINAPI CoTaskMemFreeThroughSeam(void* block) { api().CoTaskMemFree(block); }
inline void WINAPI SysFreeStringThroughSeam(BSTR text) { api().SysFreeString(text); }
inline BOOL WINAPI DeregisterEventSourceThroughSeam(HANDLE source) { return api().DeregisterEventSource(source); }
inline DWORD WINAPI WlanCloseHandleThroughSeam(HANDLE client) { return api().WlanCloseHandle(client, nullptr); }
template <typename T>
inline VOID WINAPI WlanFreeMemoryThroughSeam(T* memory)
{
    api().WlanFreeMemory(memory);
}

using UniqueHandle = UniqueAny<HANDLE, ::CloseHandle>;  // events, mutexes, threads
using UniqueFileHandle = UniqueAny<HANDLE, ::CloseHandle, -1>;
using UniqueRegKey = UniqueAny<HKEY, ::RegCloseKey>;
using UniqueFindHandle = UniqueAny<HANDLE, ::FindClose, -1>;
using UniqueLocalMemory = UniqueAny<HLOCAL, ::LocalFree>;
using UniqueStdioFile = UniqueAny<FILE*, ::fclose>;
using UniqueServiceHandle = UniqueAny<SC_HANDLE, CloseServiceHandleThroughSeam>;
using UniqueEventSource = UniqueAny<HANDLE, DeregisterEventSourceThroughSeam>;
using UniqueProcessHeapBlock = UniqueAny<void*, FreeProcessHeapBlockThroughSeam>;  // from api().HeapAlloc
using UniqueCoTaskString = UniqueAny<LPOLESTR, CoTaskMemFreeThroughSeam>;          // from StringFromCLSID
using UniqueBstr = UniqueAny<BSTR, SysFreeStringThroughSeam>;
using UniqueWlanClient = UniqueAny<HANDLE, WlanCloseHandleThroughSeam>;  // from api().WlanOpenHandle
template <typename T>
using UniqueWlanMemory = UniqueAny<T*, WlanFreeMemoryThroughSeam<T>>;  // buffers the Native Wi-Fi calls hand out

}  // namespace os
