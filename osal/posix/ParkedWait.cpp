#include "osal/posix/ParkedWait.h"

#include "osal/posix/PosixTime.h"

#include <cerrno>
#include <cstddef>
#include <ctime>
#include <pthread.h>

namespace osal::parkedwait {
namespace {

constexpr uint64_t kNoLimit = UINT64_MAX;

// A condition variable that measures time on the monotonic clock.
class Condition {
public:
   Condition() {
#if defined(__APPLE__)
      pthread_cond_init(&mCondition, nullptr);
#else
      pthread_condattr_t attributes;
      pthread_condattr_init(&attributes);
      pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
      pthread_cond_init(&mCondition, &attributes);
      pthread_condattr_destroy(&attributes);
#endif
   }
   Condition(const Condition &) = delete;
   Condition &operator=(const Condition &) = delete;
   ~Condition() {
      pthread_cond_destroy(&mCondition);
   }

   void Signal() {
      pthread_cond_signal(&mCondition);
   }

   // False once the deadline is over.
   bool Wait(pthread_mutex_t &mutex, uint64_t deadlineNs) {
      if (deadlineNs == kNoLimit) {
         pthread_cond_wait(&mCondition, &mutex);
         return true;
      }
#if defined(__APPLE__)
      const uint64_t now = SystemMonotonicNs();
      const timespec left = AsTimespec(deadlineNs > now ? deadlineNs - now : 0);
      pthread_cond_timedwait_relative_np(&mCondition, &mutex, &left);
#else
      const timespec until = AsTimespec(deadlineNs);
      pthread_cond_timedwait(&mCondition, &mutex, &until);
#endif
      return SystemMonotonicNs() < deadlineNs;
   }

private:
   pthread_cond_t mCondition;
};

// One sleeper, on its own stack.
struct Parked {
   const void *word = nullptr;
   Parked *next = nullptr;
   bool woken = false; // and out of the list
   Condition condition;
};

struct Bucket {
   pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
   Parked *first = nullptr; // in the order of their coming
};

constexpr size_t kBuckets = 64;
constinit Bucket gBuckets[kBuckets];

Bucket &BucketOf(const void *word) {
   const auto address = reinterpret_cast<uintptr_t>(word) / sizeof(uint32_t);
   return gBuckets[(address ^ (address / kBuckets) ^ (address / kBuckets / kBuckets)) % kBuckets];
}

// Only the thread that forked goes on in the child: nobody sleeps there, and nobody would give a mutex back.
void EmptyInChild() {
   for (Bucket &bucket : gBuckets) {
      bucket.mutex = PTHREAD_MUTEX_INITIALIZER;
      bucket.first = nullptr;
   }
}

class Hold {
public:
   explicit Hold(Bucket &bucket)
       : mBucket(bucket) {
      static const int registered = pthread_atfork(nullptr, nullptr, EmptyInChild);
      static_cast<void>(registered);
      pthread_mutex_lock(&mBucket.mutex);
   }
   Hold(const Hold &) = delete;
   Hold &operator=(const Hold &) = delete;
   ~Hold() { pthread_mutex_unlock(&mBucket.mutex); }

private:
   Bucket &mBucket;
};

// A sleeper that is cancelled would leave its place in the list behind it.
class NotCancellable {
public:
   NotCancellable() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &mFormer); }
   NotCancellable(const NotCancellable &) = delete;
   NotCancellable &operator=(const NotCancellable &) = delete;
   ~NotCancellable() { pthread_setcancelstate(mFormer, nullptr); }

private:
   int mFormer = PTHREAD_CANCEL_ENABLE;
};

void Append(Bucket &bucket, Parked &parked) {
   Parked **end = &bucket.first;
   while (*end != nullptr) {
      end = &(*end)->next;
   }
   *end = &parked;
}

void Remove(Bucket &bucket, Parked &parked) {
   Parked **at = &bucket.first;
   while (*at != &parked) {
      at = &(*at)->next;
   }
   *at = parked.next;
}

// At most `most` of those who sleep on the word, the first to come first.
void Wake(const void *word, size_t most) {
   const int error = errno;
   Bucket &bucket = BucketOf(word);
   const Hold hold(bucket);
   for (Parked **at = &bucket.first; *at != nullptr && most > 0;) {
      Parked *const parked = *at;
      if (parked->word != word) {
         at = &parked->next;
         continue;
      }
      *at = parked->next;
      parked->woken = true;
      parked->condition.Signal();
      --most;
   }
   errno = error;
}

} // namespace

bool waitWhileUntil(const std::atomic<uint32_t> &word, uint32_t value, uint64_t deadlineNs) {
   const int error = errno;
   const NotCancellable notCancellable;
   Parked parked;
   parked.word = &word;
   Bucket &bucket = BucketOf(&word);
   const Hold hold(bucket);
   if (word.load() != value) {
      return true;
   }
   Append(bucket, parked);
   for (bool inTime = true; inTime && !parked.woken;) {
      inTime = parked.condition.Wait(bucket.mutex, deadlineNs);
   }
   if (!parked.woken) {
      Remove(bucket, parked);
   }
   errno = error;
   return parked.woken;
}

void wakeOne(const std::atomic<uint32_t> &word) {
   Wake(&word, 1);
}

void wakeAll(const std::atomic<uint32_t> &word) {
   Wake(&word, SIZE_MAX);
}

} // namespace osal::parkedwait
