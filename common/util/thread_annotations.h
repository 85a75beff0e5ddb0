// Which data a lock guards, checked by clang++ (-Wthread-safety; "Thread Safety Analysis" in the manual of Clang).
// Other compilers skip the annotations.
#pragma once

#if defined(__clang__)
#define THREAD_ANNOTATION(attribute) __attribute__((attribute))
#else
#define THREAD_ANNOTATION(attribute)
#endif

#define CAPABILITY(name) THREAD_ANNOTATION(capability(name))               ///< a type of locks
#define SCOPED_CAPABILITY THREAD_ANNOTATION(scoped_lockable)               ///< a type that holds a lock for a scope
#define GUARDED_BY(lock) THREAD_ANNOTATION(guarded_by(lock))               ///< accessed only with the lock held
#define ACQUIRE(...) THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))    ///< returns with the lock held
#define RELEASE(...) THREAD_ANNOTATION(release_capability(__VA_ARGS__))    ///< called with it held, returns without
#define REQUIRES(...) THREAD_ANNOTATION(requires_capability(__VA_ARGS__))  ///< called with it held
#define EXCLUDES(...) THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))       ///< called without it
#define NO_THREAD_SAFETY_ANALYSIS THREAD_ANNOTATION(no_thread_safety_analysis)  ///< the body of a lock itself
