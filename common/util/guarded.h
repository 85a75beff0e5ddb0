// What is guarded by what, said so that clang++ checks it (-Wthread-safety; see "Thread Safety Analysis" in the manual
// of Clang). Other compilers see nothing of it.
#pragma once

#if defined(__clang__)
#define QV_ANALYSIS(attribute) __attribute__((attribute))
#else
#define QV_ANALYSIS(attribute)
#endif

#define QV_GUARD(name) QV_ANALYSIS(capability(name))                     ///< a type whose objects guard others
#define QV_GUARD_SCOPE QV_ANALYSIS(scoped_lockable)                      ///< a type that holds a guard for a scope
#define QV_GUARDED_BY(guard) QV_ANALYSIS(guarded_by(guard))              ///< touched only with the guard held
#define QV_TAKES(...) QV_ANALYSIS(acquire_capability(__VA_ARGS__))       ///< returns with the guard held
#define QV_GIVES_BACK(...) QV_ANALYSIS(release_capability(__VA_ARGS__))  ///< called with it held, returns without
#define QV_HOLDS(...) QV_ANALYSIS(requires_capability(__VA_ARGS__))      ///< called with it held
#define QV_NOT_HELD(...) QV_ANALYSIS(locks_excluded(__VA_ARGS__))        ///< called without it
#define QV_UNCHECKED QV_ANALYSIS(no_thread_safety_analysis)              ///< the body of a guard itself
