#include "HeapCounter.h"

#include <atomic>
#include <cstdlib>
#include <malloc.h>
#include <new>

static std::atomic<long> g_newCalls{0};
static std::atomic<long> g_liveBlocks{0};
// Bytes as the allocator counts them (usable size, so that a release needs
// no size): what the heap really holds, not what was asked for.
static std::atomic<long> g_liveBytes{0};
static std::atomic<long> g_peakBytes{0};

static void countIn(void* p)
{
    ++g_liveBlocks;
    long now = g_liveBytes += static_cast<long>(malloc_usable_size(p));
    long peak = g_peakBytes.load();
    while (now > peak && !g_peakBytes.compare_exchange_weak(peak, now)) {
    }
}

namespace testport {
long heapAllocations()
{
    return g_newCalls.load();
}

long heapLiveBlocks()
{
    return g_liveBlocks.load();
}

long heapLiveBytes()
{
    return g_liveBytes.load();
}

long heapPeakBytes()
{
    return g_peakBytes.load();
}

void resetHeapPeak()
{
    g_peakBytes = g_liveBytes.load();
}
} // namespace testport

void* operator new(std::size_t size)
{
    ++g_newCalls;
    if (void* p = std::malloc(size ? size : 1)) {
        countIn(p);
        return p;
    }
    throw std::bad_alloc();
}

void* operator new[](std::size_t size)
{
    return operator new(size);
}

static void release(void* p)
{
    if (p) {
        --g_liveBlocks;
        g_liveBytes -= static_cast<long>(malloc_usable_size(p));
    }
    std::free(p);
}

void operator delete(void* p) noexcept
{
    release(p);
}

void operator delete[](void* p) noexcept
{
    release(p);
}

void operator delete(void* p, std::size_t) noexcept
{
    release(p);
}

void operator delete[](void* p, std::size_t) noexcept
{
    release(p);
}

// The nothrow forms too, so that every allocation and release of the process
// pairs through malloc and free (the sanitizers check the pairing).
void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    ++g_newCalls;
    void* p = std::malloc(size ? size : 1);
    if (p)
        countIn(p);
    return p;
}

void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept
{
    return operator new(size, tag);
}

void operator delete(void* p, const std::nothrow_t&) noexcept
{
    release(p);
}

void operator delete[](void* p, const std::nothrow_t&) noexcept
{
    release(p);
}
