#include "tests/conformance/CaptureCollector.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <iterator>
#include <pthread.h>
#include <system_error>
#include <thread>
#include <utility>

namespace conformance {

void Collector::captureOutput(const osal::Ref<osal::SampleBuffer> &buffer, const osal::CaptureConnection &connection) {
   {
      const std::lock_guard<std::mutex> hold(mMutex);
      ++mInCalls;
      EXPECT_EQ(mInCalls, 1) << "calls overlap";
      mConnection = &connection;
      char name[64] = "";
      pthread_getname_np(pthread_self(), name, sizeof(name));
      if (mThreadName != name) {
         mThreadName = name;
      }
      if (mKept.size() < mMost) {
         mKept.push_back(buffer);
      }
   }
   if (inspect) {
      inspect(*buffer);
   }
   if (inCall) {
      inCall();
   }
   const std::lock_guard<std::mutex> hold(mMutex);
   --mInCalls;
   ++mCount;
   mChanged.notify_all();
}

bool Collector::Await(size_t count) {
   std::unique_lock<std::mutex> lock(mMutex);
   return mChanged.wait_for(lock, std::chrono::seconds(20), [&] { return mCount >= count; });
}

size_t Collector::Count() const {
   const std::lock_guard<std::mutex> hold(mMutex);
   return mCount;
}

bool Collector::IsInCall() const {
   const std::lock_guard<std::mutex> hold(mMutex);
   return mInCalls > 0;
}

std::vector<osal::Ref<osal::SampleBuffer>> Collector::Kept() const {
   const std::lock_guard<std::mutex> hold(mMutex);
   return mKept;
}

void Collector::LetGo(size_t kept) {
   std::vector<osal::Ref<osal::SampleBuffer>> gone;
   const std::lock_guard<std::mutex> hold(mMutex);
   mMost = kept;
   gone.swap(mKept);
}

const osal::CaptureConnection *Collector::Connection() const {
   const std::lock_guard<std::mutex> hold(mMutex);
   return mConnection;
}

std::string Collector::ThreadName() const {
   const std::lock_guard<std::mutex> hold(mMutex);
   return mThreadName;
}

namespace {

size_t ListedThreads() {
   std::error_code error;
   const std::filesystem::directory_iterator tasks("/proc/self/task", error);
   return error ? 0 : static_cast<size_t>(std::distance(begin(tasks), end(tasks)));
}

/// A sanitizer starts a thread of its own with the first thread; from then on the count is ours alone.
bool HaveHelpersStarted() {
   size_t withOneMore = 0;
   std::thread([&] { withOneMore = ListedThreads(); }).join();
   while (ListedThreads() + 1 > withOneMore) {
      std::this_thread::yield();
   }
   return true;
}

} // namespace

size_t ThreadCount() {
   [[maybe_unused]] static const bool haveHelpersStarted = HaveHelpersStarted();
   return ListedThreads();
}

bool AwaitThreadCount(size_t count) {
   const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
   while (ThreadCount() != count) {
      if (std::chrono::steady_clock::now() > limit) {
         return false;
      }
      std::this_thread::yield();
   }
   return true;
}

} // namespace conformance
