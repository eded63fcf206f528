#include "osal/apple/DispatchQueue.h"

#include <dispatch/dispatch.h>

namespace osal {
namespace {

dispatch_queue_t AsQueue(void *queue) {
   return static_cast<dispatch_queue_t>(queue);
}

} // namespace

DispatchQueue::DispatchQueue(const std::string &label)
    : mQueue(dispatch_queue_create(label.c_str(), DISPATCH_QUEUE_SERIAL)) {}

DispatchQueue::~DispatchQueue() {
   dispatch_release(AsQueue(mQueue));
}

void DispatchQueue::Async(void *context, Work work) {
   dispatch_async_f(AsQueue(mQueue), context, work);
}

} // namespace osal
