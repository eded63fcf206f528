#include "osal/apple/fakes/Fakes.h"

#include <dispatch/dispatch.h>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <pthread.h>
#include <thread>
#include <utility>
#include <vector>

// Serial queues. As with the real ones a queue has no thread: while it has work, some thread of the system does it,
// another one each time, and it does not open an autorelease pool.

struct dispatch_queue_s {
   struct Item {
      void *context;
      dispatch_function_t work;
   };
   fakes::Counted counted;
   std::atomic<int> references{1};
   std::mutex mutex;
   // Guarded by mutex:
   std::deque<Item> items;
   bool isServed = false;
};

namespace {

constinit std::mutex gMutex;
// Guarded by gMutex, and never destroyed: a program may wait for its queues while it ends.
struct Workers {
   std::condition_variable idle;
   std::vector<std::thread> threads;
   std::vector<std::thread::id> ended;
};
Workers &All() {
   static auto *const workers = new Workers;
   return *workers;
}

// Threads whose work is done; they are waited for when somebody looks.
std::vector<std::thread> TakeEnded() {
   std::vector<std::thread> ended;
   for (const std::thread::id id : All().ended) {
      for (std::thread &worker : All().threads) {
         if (worker.get_id() == id) {
            ended.push_back(std::move(worker));
            worker = std::move(All().threads.back());
            All().threads.pop_back();
            break;
         }
      }
   }
   All().ended.clear();
   return ended;
}

void Join(std::vector<std::thread> threads) {
   for (std::thread &thread : threads) {
      thread.join();
   }
}

void Serve(dispatch_queue_t queue) {
   pthread_setname_np(pthread_self(), "worker");
   for (;;) {
      dispatch_queue_s::Item item{};
      {
         const std::lock_guard<std::mutex> hold(queue->mutex);
         if (queue->items.empty()) {
            queue->isServed = false;
            break;
         }
         item = queue->items.front();
         queue->items.pop_front();
      }
      item.work(item.context);
   }
   dispatch_release(queue);
   const std::lock_guard<std::mutex> hold(gMutex);
   All().ended.push_back(std::this_thread::get_id());
   All().idle.notify_all();
}

void StartWorker(dispatch_queue_t queue) {
   dispatch_retain(queue);
   std::vector<std::thread> ended;
   {
      const std::lock_guard<std::mutex> hold(gMutex);
      ended = TakeEnded();
      All().threads.emplace_back(Serve, queue);
   }
   Join(std::move(ended));
}

} // namespace

extern "C" {

dispatch_queue_t dispatch_queue_create(const char *, dispatch_queue_attr_t attributes) {
   if (attributes != DISPATCH_QUEUE_SERIAL) {
      fakes::Refuse("dispatch_queue_create: the stand-in knows serial queues only");
   }
   return new dispatch_queue_s;
}

void dispatch_retain(dispatch_queue_t queue) {
   if (queue == nullptr) {
      fakes::Refuse("dispatch_retain of null");
   }
   ++queue->references;
}

void dispatch_release(dispatch_queue_t queue) {
   if (queue == nullptr) {
      fakes::Refuse("dispatch_release of null");
   }
   if (--queue->references == 0) {
      delete queue;
   }
}

void dispatch_async_f(dispatch_queue_t queue, void *context, dispatch_function_t work) {
   bool needsThread = false;
   {
      const std::lock_guard<std::mutex> hold(queue->mutex);
      queue->items.push_back({context, work});
      needsThread = !std::exchange(queue->isServed, true);
   }
   if (needsThread) {
      StartWorker(queue);
   }
}

} // extern "C"

void fakes::AwaitIdleQueues() {
   std::unique_lock<std::mutex> lock(gMutex);
   while (!All().threads.empty()) {
      All().idle.wait(lock, [] { return !All().ended.empty(); });
      std::vector<std::thread> ended = TakeEnded();
      lock.unlock();
      Join(std::move(ended));
      lock.lock();
   }
}
