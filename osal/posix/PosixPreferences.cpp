#include "osal/posix/PosixPreferences.h"

#include "osal/Clock.h"
#include "osal/posix/FileReading.h"
#include "osal/posix/PlistDocument.h"
#include "osal/posix/SettingsFile.h"

#include <atomic>
#include <cerrno>
#include <functional>
#include <mutex>
#include <unordered_map>
#include <utility>
#include <vector>

namespace osal {
namespace {

constexpr size_t kMostTroubles = 16;
/// A file that looks damaged may be one that an editor has not finished: it gets this much time.
constexpr uint64_t kSettleNs = 20'000'000;

struct TextHash {
   using is_transparent = void;
   size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
};

/// Whether a failed read will probably work a moment later: what was read last then stays in force.
bool IsPassing(int error) {
   return error == EMFILE || error == ENFILE || error == ENOMEM || error == EIO || error == EINTR || error == EAGAIN;
}

class PosixPreferences final : public Preferences {
public:
   PosixPreferences(std::string path, FileLayer &layer)
       : mLayer(layer)
       , mFile(layer, std::move(path)) {
      std::unique_lock<std::mutex> guard(mStateLock);
      Refresh(&guard);
   }

   std::optional<PreferenceValue> copyAppValue(std::string_view key) override {
      std::unique_lock<std::mutex> guard(mStateLock);
      const PreferenceValue *const value = Find(key, &guard);
      return value != nullptr ? std::optional(*value) : std::nullopt;
   }

   int64_t getAppIntegerValue(std::string_view key, bool *keyExistsAndHasValidFormat) override {
      return Get<int64_t>(key, keyExistsAndHasValidFormat);
   }

   bool getAppBooleanValue(std::string_view key, bool *keyExistsAndHasValidFormat) override {
      return Get<bool>(key, keyExistsAndHasValidFormat);
   }

   Status setAppValue(std::string_view key, const PreferenceValue &value) override {
      const uint64_t deadline = Clock::current().monotonicNs() + kSettingsLockTimeoutNs;
      const std::lock_guard<std::mutex> writing(mWriteLock);
      Status status = Change(key, value, deadline);
      if (!status.ok()) {
         status.reason = "settings file " + mFile.Path() + ": " + status.reason;
      }
      const std::lock_guard<std::mutex> guard(mStateLock);
      mIsSettled = false;
      return status;
   }

   Status appSynchronize() override { return Status::Ok(); }

   Status takeTrouble() override {
      if (!mHasTrouble.load(std::memory_order_acquire)) {
         return Status::Ok();
      }
      const std::lock_guard<std::mutex> guard(mTroubleLock);
      if (mTroubles.empty()) {
         return Status::Ok();
      }
      Status trouble = std::move(mTroubles.front());
      mTroubles.erase(mTroubles.begin());
      mHasTrouble.store(!mTroubles.empty(), std::memory_order_release);
      return trouble;
   }

   std::string location() const override { return mFile.Path(); }

private:
   template <typename T>
   T Get(std::string_view key, bool *keyExistsAndHasValidFormat) {
      std::unique_lock<std::mutex> guard(mStateLock);
      const PreferenceValue *const value = Find(key, &guard);
      *keyExistsAndHasValidFormat = value != nullptr && std::holds_alternative<T>(*value);
      return *keyExistsAndHasValidFormat ? std::get<T>(*value) : T{};
   }

   const PreferenceValue *Find(std::string_view key, std::unique_lock<std::mutex> *guard) {
      Refresh(guard);
      const auto found = mValues.find(key);
      return found != mValues.end() ? &found->second : nullptr;
   }

   /// Brings mValues up to date. Lets go of the lock for a while only when the file is damaged.
   void Refresh(std::unique_lock<std::mutex> *guard) {
      if (IsUnchanged()) {
         return;
      }
      if (Status damage = Load(); !damage.ok()) {
         guard->unlock();
         const Status kept = KeepDamagedFile();
         guard->lock();
         if (kept.ok()) {
            // What an editor finished meanwhile counts for this read already; what is damaged anew waits for the next.
            mIsSettled = Load().ok() && mIsSettled;
         }
      }
   }

   /// Whether the file is still the one that mValues came from.
   ///
   /// The open file tells for little whether it was changed, replaced or removed. Only that a folder or a link on the
   /// way to it was exchanged does not show there: the path is looked at too, once in each step of the file clock, and
   /// always where it is a link.
   bool IsUnchanged() {
      if (!mIsSettled) {
         return false;
      }
      struct ::stat facts {};
      const int64_t now = FileTimeNowNs();
      if (mOpenFile != nullptr && !mIsLink && now == mPathLookedAtNs) {
         return mLayer.fstat(mOpenFile->Fd(), &facts) == 0 && StampOf(facts) == mStamp;
      }
      mPathLookedAtNs = now;
      if (mLayer.stat(mFile.Path().c_str(), &facts) == 0) {
         return StampOf(facts) == mStamp;
      }
      return errno == ENOENT && mStamp == FileStamp();
   }

   /// Reads the file into mValues. Not ok: it is damaged, and mValues is empty. Other trouble is noted.
   Status Load() {
      const int64_t now = FileTimeNowNs();
      std::string text;
      struct ::stat facts {};
      mIsSettled = false;
      mOpenFile.reset();
      const Status read = ReadWholeFile(mLayer, mFile.Path(), kSettingsFileLimit, &text, &mStamp, &mOpenFile);
      if (!read.ok()) {
         TakeUnreadable(read);
         return Status::Ok();
      }
      mIsSettled = IsSettled(mStamp, now);
      mPathLookedAtNs = now;
      mIsLink = mLayer.lstat(mFile.Path().c_str(), &facts) != 0 || S_ISLNK(facts.st_mode);
      mLastUnreadable.clear();
      PlistDocument document;
      Status parsed = PlistDocument::Parse(text, &document);
      mValues.clear();
      if (parsed.ok()) {
         document.ForEach([this](std::string key, PreferenceValue value) {
            mValues.insert_or_assign(std::move(key), std::move(value));
         });
      }
      return parsed;
   }

   void TakeUnreadable(const Status &why) {
      if (why.code == ENOENT) {
         mStamp = FileStamp();
         mIsSettled = true; // a file that comes always shows
         mValues.clear();
         mLastUnreadable.clear();
         return;
      }
      if (!IsPassing(why.code)) {
         mValues.clear();
      }
      if (why.reason != mLastUnreadable) { // told once, not at every read
         mLastUnreadable = why.reason;
         Trouble(Status::Error(why.code, "settings file " + mFile.Path() + " " + why.reason));
      }
   }

   /// Moves the file aside if it is still damaged after a moment. A failure is noted. Without mStateLock.
   Status KeepDamagedFile() {
      Clock::current().sleepNs(kSettleNs);
      const uint64_t deadline = Clock::current().monotonicNs() + kSettingsLockTimeoutNs;
      const std::lock_guard<std::mutex> writing(mWriteLock);
      std::string target;
      std::unique_ptr<SettingsLock> lock;
      PlistDocument document;
      Status status = mFile.Resolve(&target);
      if (status.ok()) {
         status = mFile.Lock(target, deadline, &lock);
      }
      if (status.ok()) {
         status = ReadDocument(target, &document);
      }
      if (!status.ok()) {
         TroubleOnce(Status::Error(status.code,
                                   "settings file " + mFile.Path() +
                                      " is damaged, read as empty, and could not be kept beside it: " + status.reason));
      }
      return status;
   }

   /// Reads the file for a change. A damaged one is moved aside, noted, and gives an empty document; so does a missing
   /// one. With the lock held.
   Status ReadDocument(const std::string &target, PlistDocument *document) {
      std::string text;
      FileStamp stamp;
      if (Status read = ReadWholeFile(mLayer, target, kSettingsFileLimit, &text, &stamp); !read.ok()) {
         return read.code == ENOENT ? Status::Ok() : read;
      }
      const Status parsed = PlistDocument::Parse(text, document);
      if (parsed.ok()) {
         return Status::Ok();
      }
      if (Status moved = mFile.MoveAside(target); !moved.ok()) {
         return moved;
      }
      Trouble(Status::Error(parsed.code, "settings file " + mFile.Path() + " is damaged (" + parsed.reason +
                                            "); it is kept as " + target + ".damaged and read as empty"));
      return Status::Ok();
   }

   Status Change(std::string_view key, const PreferenceValue &value, uint64_t deadline) {
      PlistDocument document;
      if (Status status = document.Set(key, value); !status.ok()) {
         return status; // before anything is touched
      }
      std::string target;
      if (Status status = mFile.Resolve(&target); !status.ok()) {
         return status;
      }
      std::unique_ptr<SettingsLock> lock;
      if (Status status = mFile.Lock(target, deadline, &lock); !status.ok()) {
         return status;
      }
      if (Status status = mFile.CheckWritable(target); !status.ok()) {
         return status;
      }
      document = PlistDocument();
      if (Status status = ReadDocument(target, &document); !status.ok()) {
         return status;
      }
      if (Status status = document.Set(key, value); !status.ok()) {
         return status;
      }
      const std::string content = document.ToXml();
      if (content.empty() || content.size() > kSettingsFileLimit) {
         return Status::Error(content.empty() ? ENOMEM : EFBIG, content.empty()
                                                                   ? "no memory for the new content"
                                                                   : "the new content would be larger than 16 MiB");
      }
      Status uncertain;
      Status status = mFile.Replace(target, content, &uncertain);
      if (status.ok() && !uncertain.ok()) {
         Trouble(std::move(uncertain));
      }
      return status;
   }

   void Trouble(Status trouble) {
      const std::lock_guard<std::mutex> guard(mTroubleLock);
      if (mTroubles.size() < kMostTroubles) {
         mTroubles.push_back(std::move(trouble));
         mHasTrouble.store(true, std::memory_order_release);
      }
   }

   /// For what can come again at every read of the same file.
   void TroubleOnce(Status trouble) {
      const std::lock_guard<std::mutex> guard(mStateLock);
      if (mLastUnreadable != trouble.reason) {
         mLastUnreadable = trouble.reason;
         Trouble(std::move(trouble));
      }
   }

   FileLayer &mLayer;
   const SettingsFile mFile;

   // Order: mWriteLock, mStateLock, mTroubleLock. Nothing outside the process is waited for under the latter two.
   std::mutex mWriteLock; ///< one change at a time
   std::mutex mStateLock; ///< what was read, and from which state of the file:
   std::unordered_map<std::string, PreferenceValue, TextHash, std::equal_to<>> mValues;
   std::unique_ptr<OpenFile> mOpenFile;
   FileStamp mStamp;
   bool mIsSettled = false;
   bool mIsLink = false;
   int64_t mPathLookedAtNs = 0;
   std::string mLastUnreadable;

   std::mutex mTroubleLock;
   std::vector<Status> mTroubles;
   std::atomic<bool> mHasTrouble{false};
};

} // namespace

std::unique_ptr<Preferences> MakePosixPreferences(std::string path, FileLayer &layer) {
   return std::make_unique<PosixPreferences>(std::move(path), layer);
}

} // namespace osal
