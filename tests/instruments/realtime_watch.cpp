#include "instruments/realtime_watch.h"

#include <cstddef>
#include <dlfcn.h>
#include <pthread.h>

namespace {

thread_local int watching = 0;
thread_local long allocated = 0;
thread_local long locked = 0;

} // namespace

RealtimeWatch::RealtimeWatch()
{
  ++watching;
}

RealtimeWatch::~RealtimeWatch()
{
  --watching;
}

long RealtimeWatch::allocations()
{
  return allocated;
}

long RealtimeWatch::locks()
{
  return locked;
}

#ifndef ORBI_SANITIZED

// The program's own come before the C library's, for the modules that it loads as well.
extern "C" {
void* __libc_malloc(size_t);
void* __libc_calloc(size_t, size_t);
void* __libc_realloc(void*, size_t);
void __libc_free(void*);
void* __libc_memalign(size_t, size_t);

__attribute__((visibility("default"))) void* malloc(size_t bytes) noexcept
{
  allocated += watching;
  return __libc_malloc(bytes);
}

__attribute__((visibility("default"))) void* calloc(size_t count, size_t bytes) noexcept
{
  allocated += watching;
  return __libc_calloc(count, bytes);
}

__attribute__((visibility("default"))) void* realloc(void* old, size_t bytes) noexcept
{
  allocated += watching;
  return __libc_realloc(old, bytes);
}

__attribute__((visibility("default"))) void free(void* block) noexcept
{
  allocated += watching;
  __libc_free(block);
}

__attribute__((visibility("default"))) void* aligned_alloc(size_t alignment, size_t bytes) noexcept
{
  allocated += watching;
  return __libc_memalign(alignment, bytes);
}

__attribute__((visibility("default"))) int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept
{
  using Lock = int (*)(pthread_mutex_t*);
  static const Lock next = reinterpret_cast<Lock>(dlsym(RTLD_NEXT, "pthread_mutex_lock"));
  locked += watching;
  return next(mutex);
}
}

#endif
