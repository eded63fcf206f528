#pragma once

#include "osal/CaptureSession.h"

#include <mutex>
#include <string>
#include <utility>

namespace osal {

/// The serial queue of every backend: a label, and a lock that a delivery thread holds for the length of a delegate
/// call, so that outputs that share the queue take turns.
class LabelledQueue final : public SerialQueue {
public:
   explicit LabelledQueue(std::string label)
       : mLabel(std::move(label)) {}

   const std::string &label() const override { return mLabel; }

   [[nodiscard]] std::mutex &Turn() { return mTurn; }

private:
   const std::string mLabel;
   std::mutex mTurn;
};

} // namespace osal
