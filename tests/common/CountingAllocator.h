#pragma once
// Counts every allocation of the process while g_bCounting is set: the global operators
// new and delete replaced. Include it in one source file of a test program only.
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>

// The replacements pair malloc with free throughout; the compiler cannot see that.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"

namespace {
std::atomic<bool> g_bCounting{false};
std::atomic<int64_t> g_nAllocations{0};
} // namespace

void* operator new(size_t n)
{
  if (g_bCounting.load(std::memory_order_relaxed))
    ++g_nAllocations;
  if (void* p = std::malloc(n ? n : 1))
    return p;
  throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, size_t) noexcept { std::free(p); }
void* operator new[](size_t n) { return operator new(n); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete[](void* p, size_t) noexcept { std::free(p); }
void* operator new(size_t n, const std::nothrow_t&) noexcept
{
  try {
    return operator new(n);
  } catch (...) {
    return nullptr;
  }
}
void* operator new[](size_t n, const std::nothrow_t& t) noexcept { return operator new(n, t); }
