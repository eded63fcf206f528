#pragma once

#include "osal/Status.h"
#include "osal/posix/FileReading.h"
#include "osal/simulated/Simulation.h"

#include <memory>
#include <mutex>
#include <string>

namespace osal {

/// The simulation of a file, as the file is now; or the built-in set.
///
/// Owner: shared by a backend and what it made. Threads: any thread. Locks: mMutex, while the file is read too. Life
/// cycle: the file is read at the first Read, and again when its state has changed.
class SimulationSource {
public:
   /// The built-in set for an empty `file`. A relative path is taken from the working directory of this call.
   explicit SimulationSource(const std::string &file);

   /// `*simulation` is the same object as long as the file is unchanged. A file that is missing or broken gives where
   /// and why, and null. An unchanged file costs a look at its state, and allocates nothing.
   Status Read(std::shared_ptr<const Simulation> *simulation);

   /// The absolute path; empty for the built-in set.
   [[nodiscard]] const std::string &File() const { return mFile; }

private:
   void Refresh();

   const std::string mFile;
   std::mutex mMutex;
   // Guarded by mMutex:
   FileStamp mStamp;
   bool mIsSettled = false;
   Status mTrouble;
   std::shared_ptr<const Simulation> mSimulation;
};

} // namespace osal
