#include "FailingAllocator.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <new>

#if defined(__SANITIZE_ADDRESS__)
#define TIV_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TIV_SANITIZED 1
#endif
#endif

namespace
{
std::atomic<long> s_failAt{0};
std::atomic<long> s_made{0};
std::atomic<bool> s_failed{false};
std::atomic<long> s_live{0};

// True when this allocation is the one to fail.
bool chosen()
{
    long n = s_failAt.load();
    if (n <= 0) return false;
    if (++s_made != n) return false;
    s_failed = true;
    return true;
}
} // namespace

#if !defined(TIV_SANITIZED) && defined(__GLIBC__)
// glibc's own allocator under its internal names; the library's internal calls
// (fdopen, opendir, ...) come through the public names below.
extern "C" void* __libc_malloc(size_t);
extern "C" void* __libc_calloc(size_t, size_t);
extern "C" void* __libc_realloc(void*, size_t);

namespace
{
void* rawAllocate(size_t n)
{
    return __libc_malloc(n);
}

// A refused block says why, as the library's own allocator does.
void* refused()
{
    errno = ENOMEM;
    return nullptr;
}
} // namespace

extern "C" void* malloc(size_t n)
{
    return chosen() ? refused() : __libc_malloc(n);
}
extern "C" void* calloc(size_t count, size_t n)
{
    return chosen() ? refused() : __libc_calloc(count, n);
}
extern "C" void* realloc(void* p, size_t n)
{
    return chosen() ? refused() : __libc_realloc(p, n);
}
bool failing::countsMalloc()
{
    return true;
}
#else
namespace
{
void* rawAllocate(size_t n)
{
    return std::malloc(n);
}
} // namespace
bool failing::countsMalloc()
{
    return false;
}
#endif

namespace
{
void* allocate(size_t n)
{
    if (chosen()) return nullptr;
    void* p = rawAllocate(n ? n : 1);
    if (p) ++s_live;
    return p;
}

void release(void* p)
{
    if (!p) return;
    --s_live;
    std::free(p);
}

void* allocateOrThrow(size_t n)
{
    void* p = allocate(n);
    if (!p) throw std::bad_alloc();
    return p;
}
} // namespace

void failing::failAt(long n)
{
    s_made = 0;
    s_failed = false;
    s_failAt = n;
}

long failing::allocationsMade()
{
    return s_made;
}

bool failing::failed()
{
    return s_failed;
}

long failing::liveBlocks()
{
    return s_live;
}

void* operator new(size_t n)
{
    return allocateOrThrow(n);
}
void* operator new[](size_t n)
{
    return allocateOrThrow(n);
}
void* operator new(size_t n, const std::nothrow_t&) noexcept
{
    return allocate(n);
}
void* operator new[](size_t n, const std::nothrow_t&) noexcept
{
    return allocate(n);
}
void operator delete(void* p) noexcept
{
    release(p);
}
void operator delete[](void* p) noexcept
{
    release(p);
}
void operator delete(void* p, size_t) noexcept
{
    release(p);
}
void operator delete[](void* p, size_t) noexcept
{
    release(p);
}
void operator delete(void* p, const std::nothrow_t&) noexcept
{
    release(p);
}
void operator delete[](void* p, const std::nothrow_t&) noexcept
{
    release(p);
}
