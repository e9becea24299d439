// Owning wrappers of platform handles: one small policy template and one-line
// aliases. Closing keeps GetLastError() as it was, so a failure code read
// after an early return is the one of the call that failed.
#pragma once

#include <windows.h>

#include <cstdint>
#include <utility>

namespace os {

// `InvalidValue` is the handle value that means "none" (0, or -1 for the
// handles of files and searches).
template <typename Handle, typename CloseResult, CloseResult(WINAPI* Close)(Handle), intptr_t InvalidValue = 0>
class UniqueAny {
    static Handle Invalid() { return reinterpret_cast<Handle>(InvalidValue); }

public:
    UniqueAny() = default;
    explicit UniqueAny(Handle handle) : handle_(handle) {}
    ~UniqueAny() { reset(); }
    UniqueAny(UniqueAny&& other) noexcept : handle_(other.release()) {}
    UniqueAny& operator=(UniqueAny&& other) noexcept
    {
        if (this != &other)
            reset(other.release());
        return *this;
    }
    UniqueAny(const UniqueAny&) = delete;
    UniqueAny& operator=(const UniqueAny&) = delete;

    Handle get() const { return handle_; }
    explicit operator bool() const { return handle_ != Invalid(); }

    Handle release() { return std::exchange(handle_, Invalid()); }

    void reset(Handle handle = Invalid())
    {
        const Handle old = std::exchange(handle_, handle);
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
        return &handle_;
    }

private:
    Handle handle_ = Invalid();
};

using UniqueHandle = UniqueAny<HANDLE, BOOL, ::CloseHandle>;  // events, mutexes, threads
using UniqueFileHandle = UniqueAny<HANDLE, BOOL, ::CloseHandle, -1>;
using UniqueRegKey = UniqueAny<HKEY, LSTATUS, ::RegCloseKey>;
using UniqueFindHandle = UniqueAny<HANDLE, BOOL, ::FindClose, -1>;
using UniqueLocalMemory = UniqueAny<HLOCAL, HLOCAL, ::LocalFree>;

} // namespace os
