#pragma once

/// Clang's thread-safety attributes under short names; other compilers see nothing. The clang
/// preset turns every breach into an error.
#if defined(__clang__)
#define TALLYWICK_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define TALLYWICK_THREAD_ATTRIBUTE(x)
#endif

#define CAPABILITY(name) TALLYWICK_THREAD_ATTRIBUTE(capability(name))
#define SCOPED_CAPABILITY TALLYWICK_THREAD_ATTRIBUTE(scoped_lockable)
#define GUARDED_BY(x) TALLYWICK_THREAD_ATTRIBUTE(guarded_by(x))
#define REQUIRES(...) TALLYWICK_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define ACQUIRE(...) TALLYWICK_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define RELEASE(...) TALLYWICK_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define EXCLUDES(...) TALLYWICK_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define ASSERT_CAPABILITY(x) TALLYWICK_THREAD_ATTRIBUTE(assert_capability(x))
#define NO_THREAD_SAFETY_ANALYSIS TALLYWICK_THREAD_ATTRIBUTE(no_thread_safety_analysis)
