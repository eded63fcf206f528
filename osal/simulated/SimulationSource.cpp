#include "osal/simulated/SimulationSource.h"

#include "osal/simulated/SimulationFile.h"

#include <filesystem>
#include <system_error>
#include <utility>

namespace osal {
namespace {

std::string Absolute(const std::string &file) {
   std::error_code error;
   const std::filesystem::path absolute = std::filesystem::absolute(file, error);
   return error ? file : absolute.string();
}

} // namespace

SimulationSource::SimulationSource(const std::string &file)
    : mFile(file.empty() ? "" : Absolute(file)) {
   if (mFile.empty()) {
      mSimulation = std::make_shared<const Simulation>(BuiltInSimulation());
   }
}

Status SimulationSource::Read(std::shared_ptr<const Simulation> *simulation) {
   const std::lock_guard<std::mutex> hold(mMutex);
   if (!mFile.empty()) {
      Refresh();
   }
   *simulation = mTrouble.ok() ? mSimulation : nullptr;
   return mTrouble;
}

/// Reads the file again if it is not the one that was read last.
void SimulationSource::Refresh() {
   const int64_t now = FileTimeNowNs();
   struct ::stat facts {};
   if (mIsSettled && FileLayer::system().stat(mFile.c_str(), &facts) == 0 && StampOf(facts) == mStamp) {
      return;
   }
   std::string text;
   mIsSettled = false; // until there is a stamp of a state that was read, ask again each time
   Status status = ReadWholeFile(FileLayer::system(), mFile, kSimulationFileLimit, &text, &mStamp);
   if (!status.ok()) {
      mTrouble = Status::Error(status.code, "simulation file " + mFile + " " + status.reason);
      return;
   }
   mIsSettled = IsSettled(mStamp, now);
   Simulation simulation;
   status = ParseSimulation(text, &simulation);
   if (status.ok()) {
      mSimulation = std::make_shared<const Simulation>(std::move(simulation));
      mTrouble = Status::Ok();
   } else {
      mTrouble = Status::Error(status.code, "simulation file " + mFile + ":" + status.reason);
   }
}

} // namespace osal
