#include "fakes/FakeProcessHeap.h"

namespace fakes {

FakeProcessHeap* FakeProcessHeap::s_current = nullptr;

FakeProcessHeap::FakeProcessHeap()
{
    s_current = this;
    m_seam->HeapAlloc = &FakeProcessHeap::HeapAlloc;
    m_seam->HeapFree = &FakeProcessHeap::HeapFree;
}

FakeProcessHeap::~FakeProcessHeap() { s_current = nullptr; }

void FakeProcessHeap::FailAllocation(int n, bool andAfter)
{
    std::lock_guard<std::mutex> lock(m_lock);
    m_failFrom = static_cast<int>(m_allocations.size()) + n;
    m_failAfter = andAfter;
}

std::vector<SIZE_T> FakeProcessHeap::Allocations() const
{
    std::lock_guard<std::mutex> lock(m_lock);
    return m_allocations;
}

int FakeProcessHeap::Frees() const
{
    std::lock_guard<std::mutex> lock(m_lock);
    return m_frees;
}

size_t FakeProcessHeap::Live() const
{
    std::lock_guard<std::mutex> lock(m_lock);
    return m_live.size();
}

LPVOID WINAPI FakeProcessHeap::HeapAlloc(HANDLE heap, DWORD flags, SIZE_T bytes)
{
    FakeProcessHeap& self = *s_current;
    std::lock_guard<std::mutex> lock(self.m_lock);
    self.m_allocations.push_back(bytes);
    const int index = static_cast<int>(self.m_allocations.size());
    if (self.m_failFrom != 0 && (index == self.m_failFrom || (self.m_failAfter && index > self.m_failFrom))) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    void* block = ::HeapAlloc(heap, flags, bytes);
    if (block != nullptr)
        self.m_live.insert(block);
    return block;
}

BOOL WINAPI FakeProcessHeap::HeapFree(HANDLE heap, DWORD flags, LPVOID block)
{
    FakeProcessHeap& self = *s_current;
    std::lock_guard<std::mutex> lock(self.m_lock);
    ++self.m_frees;
    self.m_live.erase(block);
    return ::HeapFree(heap, flags, block);
}

}  // namespace fakes
