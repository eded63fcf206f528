#pragma once

#include "osal/Status.h"
#include "osal/posix/FileLayer.h"

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

namespace osal {

inline constexpr size_t kSettingsFileLimit = size_t{16} << 20;
inline constexpr uint64_t kSettingsLockTimeoutNs = 2'000'000'000;

/// The right to change a settings file, held against every other process and thread. Released at the end of its life,
/// in a child that was forked meanwhile too. Owner: the function that acquired it.
class SettingsLock {
public:
   SettingsLock(FileLayer &layer, std::unique_ptr<OpenFile> file)
       : mLayer(layer)
       , mFile(std::move(file)) {}
   ~SettingsLock();
   SettingsLock(const SettingsLock &) = delete;
   SettingsLock &operator=(const SettingsLock &) = delete;

private:
   FileLayer &mLayer;
   std::unique_ptr<OpenFile> mFile;
};

/// What is done to a settings file on disk, apart from what its content means.
///
/// Beside the file FILE stand FILE.lock (empty, stays), FILE.tmp (while it is written; one that a killed writer left is
/// removed by the next), FILE.damaged and, older, FILE.damaged.1 to FILE.damaged.9. Owner: the preferences. Threads:
/// any thread. Locks: see each method. Life cycle: no state but the path.
class SettingsFile {
public:
   SettingsFile(FileLayer &layer, std::string path)
       : mLayer(layer)
       , mPath(std::move(path)) {}

   [[nodiscard]] const std::string &Path() const { return mPath; }

   /// The file behind all links, which need not exist: changes are made there, so that a link stays a link.
   [[nodiscard]] Status Resolve(std::string *target) const;

   /// Waits until `deadlineNs` of osal::Clock for the right to change `target`; tries once even when that has passed.
   /// Makes the folder, mode 0700, where there is none.
   [[nodiscard]] Status Lock(const std::string &target, uint64_t deadlineNs, std::unique_ptr<SettingsLock> *lock) const;

   /// Whether a program may change the file: EACCES when it is read-only. With the lock held.
   [[nodiscard]] Status CheckWritable(const std::string &target) const;

   /// Puts `content` in place of the file, mode 0600, whole or not at all. On failure the file is as it was and nothing
   /// is left beside it. `*uncertain` tells, on success, that the disk did not confirm the new name. With the lock
   /// held.
   [[nodiscard]] Status Replace(const std::string &target, const std::string &content, Status *uncertain) const;

   /// Renames a damaged file to FILE.damaged. Earlier ones move up to .damaged.1 ... .damaged.9; of ten the oldest
   /// goes. With the lock held.
   [[nodiscard]] Status MoveAside(const std::string &target) const;

private:
   [[nodiscard]] Status WriteTemporary(const std::string &temporary, const std::string &content) const;
   [[nodiscard]] Status MakeFolders(const std::string &folder) const;
   [[nodiscard]] bool Exists(const std::string &path) const;

   FileLayer &mLayer;
   const std::string mPath;
};

} // namespace osal
