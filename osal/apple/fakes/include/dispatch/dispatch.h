// A stand-in for the header: what osal/apple uses of it, and nothing that a Mac lacks.
#pragma once

typedef struct dispatch_queue_s *dispatch_queue_t;
typedef struct dispatch_queue_attr_s *dispatch_queue_attr_t;
typedef void (*dispatch_function_t)(void *context);

#define DISPATCH_QUEUE_SERIAL nullptr

extern "C" {

// Of the real ones, which take every dispatch object, the stand-ins take queues alone.
dispatch_queue_t dispatch_queue_create(const char *label, dispatch_queue_attr_t attributes);
void dispatch_retain(dispatch_queue_t queue);
void dispatch_release(dispatch_queue_t queue);
void dispatch_async_f(dispatch_queue_t queue, void *context, dispatch_function_t work);

} // extern "C"
