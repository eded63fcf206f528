#pragma once

#include "osal/SampleBuffer.h"
#include "osal/Status.h"

#include <cstddef>
#include <memory>

namespace osal {

/// The buffer queue of every backend: a ring behind a lock that is held for some instructions. Allocates nothing once
/// it is made. EINVAL for a capacity of 0, ENOMEM without memory; `*queue` is null then.
Status MakeRingBufferQueue(size_t capacity, std::unique_ptr<BufferQueue> *queue);

} // namespace osal
