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
    explicit ComPtr(Interface* pointer) : pointer_(pointer) {}
    ~ComPtr() { Reset(); }
    ComPtr(const ComPtr& other) : pointer_(other.pointer_)
    {
        if (pointer_)
            pointer_->AddRef();
    }
    ComPtr& operator=(const ComPtr& other)
    {
        ComPtr copy(other);
        std::swap(pointer_, copy.pointer_);
        return *this;
    }
    ComPtr(ComPtr&& other) noexcept : pointer_(std::exchange(other.pointer_, nullptr)) {}
    ComPtr& operator=(ComPtr&& other) noexcept
    {
        if (this != &other)
            Reset(std::exchange(other.pointer_, nullptr));
        return *this;
    }

    Interface* Get() const { return pointer_; }
    Interface* operator->() const { return pointer_; }
    explicit operator bool() const { return pointer_ != nullptr; }

    // Releases the reference held (if any) and takes over `pointer`.
    void Reset(Interface* pointer = nullptr)
    {
        Interface* old = std::exchange(pointer_, pointer);
        if (old)
            old->Release();
    }

    // For calls that return a new reference through an out-parameter.
    Interface** Put()
    {
        Reset();
        return &pointer_;
    }

private:
    Interface* pointer_ = nullptr;
};

} // namespace os
