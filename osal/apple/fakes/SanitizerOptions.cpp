// What the sanitizers are told in the test programs of the Mac's backend. They ask these functions by name, in a
// listing of tests too. Each entry is a finding in a foreign library; none hides one of ours.

#if defined(MAVR_SANITIZED)

extern "C" {

[[gnu::visibility("default")]] const char *__asan_default_options();
[[gnu::visibility("default")]] const char *__lsan_default_suppressions();
[[gnu::visibility("default")]] const char *__tsan_default_suppressions();

// The base library is built without frame pointers: with the quick unwinder the reports, and the suppressions below,
// would see one frame of it.
const char *__asan_default_options() {
   return "fast_unwind_on_malloc=0";
}

// Made once for a process and kept for ever: classes as they are registered, and lists of their methods.
const char *__lsan_default_suppressions() {
   return "leak:GSObjCAdd\n"
          "leak:class_copyMethodList\n"
          "leak:__objc_exec_class\n";
}

// Locks and words inside the base library and the Objective-C runtime, which are not built for this check.
const char *__tsan_default_suppressions() {
   return "deadlock:libgnustep-base.so\n"
          "deadlock:libobjc.so\n"
          "race:libgnustep-base.so\n"
          "race:libobjc.so\n";
}

} // extern "C"

#endif
