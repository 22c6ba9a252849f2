// Names for clang's thread-safety annotations; nothing with other compilers.

#ifndef LOCALSTORAGE_OSL_THREADSAFETY_H
#define LOCALSTORAGE_OSL_THREADSAFETY_H

#if defined(__clang__)
#define OSL_ANNOTATE(x) __attribute__((x))
#else
#define OSL_ANNOTATE(x)
#endif

#define OSL_CAPABILITY(name) OSL_ANNOTATE(capability(name))
#define OSL_SCOPED_CAPABILITY OSL_ANNOTATE(scoped_lockable)
#define OSL_GUARDED_BY(mutex) OSL_ANNOTATE(guarded_by(mutex))
#define OSL_REQUIRES(...) OSL_ANNOTATE(requires_capability(__VA_ARGS__))
#define OSL_ACQUIRE(...) OSL_ANNOTATE(acquire_capability(__VA_ARGS__))
#define OSL_RELEASE(...) OSL_ANNOTATE(release_capability(__VA_ARGS__))
#define OSL_NO_THREAD_SAFETY_ANALYSIS OSL_ANNOTATE(no_thread_safety_analysis)

#endif  // LOCALSTORAGE_OSL_THREADSAFETY_H
