// ComPtr: owns one reference to a COM interface. Reset releases it at the
// point an operation prescribes; the destructor releases what is left.
#pragma once

#include <unknwn.h>

#include <utility>

namespace os {

template <typename Interface>
class ComPtr {
public:
    ComPtr() = default;
    // Takes over a reference the caller already owns.
    explicit ComPtr(Interface* pointer) : m_pointer(pointer) {}
    ~ComPtr() { Reset(); }
    ComPtr(const ComPtr& other) : m_pointer(other.m_pointer)
    {
        if (m_pointer)
            m_pointer->AddRef();
    }
    ComPtr& operator=(const ComPtr& other)
    {
        ComPtr copy(other);
        std::swap(m_pointer, copy.m_pointer);
        return *this;
    }
    ComPtr(ComPtr&& other) noexcept : m_pointer(std::exchange(other.m_pointer, nullptr)) {}
    ComPtr& operator=(ComPtr&& other) noexcept
    {
        if (this != &other)
            Reset(std::exchange(other.m_pointer, nullptr));
        return *this;
    }

    Interface* Get() const { return m_pointer; }
    Interface* operator->() const { return m_pointer; }
    explicit operator bool() const { return m_pointer != nullptr; }

    // Releases the reference held (if any) and takes over `pointer`.
    void Reset(Interface* pointer = nullptr)
    {
        Interface* old = std::exchange(m_pointer, pointer);
        if (old)
            old->Release();
    }

    // For calls that return a new reference through an out-parameter.
    Interface** Put()
    {
        Reset();
        return &m_pointer;
    }

private:
    Interface* m_pointer = nullptr;
};

}  // namespace os
