#include "platform/lock.h"

#include <new>
#include <pthread.h>

namespace orbi::platform {

static pthread_mutex_t& mutexIn(std::byte* storage)
{
  return *std::launder(reinterpret_cast<pthread_mutex_t*>(storage));
}

RecursiveLock::RecursiveLock()
{
  static_assert(sizeof(storage_) >= sizeof(pthread_mutex_t));
  auto* mutex = new (storage_) pthread_mutex_t;
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutexattr_setprotocol(&attributes, PTHREAD_PRIO_INHERIT);
  if (pthread_mutex_init(mutex, &attributes) != 0) { // a kernel without priority inheritance
    pthread_mutexattr_setprotocol(&attributes, PTHREAD_PRIO_NONE);
    pthread_mutex_init(mutex, &attributes);
  }
  pthread_mutexattr_destroy(&attributes);
}

RecursiveLock::~RecursiveLock()
{
  pthread_mutex_destroy(&mutexIn(storage_));
}

void RecursiveLock::enter()
{
  pthread_mutex_lock(&mutexIn(storage_));
}

bool RecursiveLock::tryEnter()
{
  return pthread_mutex_trylock(&mutexIn(storage_)) == 0;
}

void RecursiveLock::leave()
{
  pthread_mutex_unlock(&mutexIn(storage_));
}

} // namespace orbi::platform
