// Happens-before edges for ThreadSanitizer around the OpenMP critical
// sections: the OpenMP runtime is not instrumented, so without these the
// sanitizer cannot see that the sections serialize their bodies.
#ifndef QUORB_SERVICES_THREADANNOTATIONS_H_
#define QUORB_SERVICES_THREADANNOTATIONS_H_

#if defined(QUORB_TSAN)
extern "C" void __tsan_acquire(void* addr);
extern "C" void __tsan_release(void* addr);
#endif

namespace quorb {

inline void AnnotateAcquire([[maybe_unused]] void* addr) {
#if defined(QUORB_TSAN)
  __tsan_acquire(addr);
#endif
}

inline void AnnotateRelease([[maybe_unused]] void* addr) {
#if defined(QUORB_TSAN)
  __tsan_release(addr);
#endif
}

}  // namespace quorb

#endif  // QUORB_SERVICES_THREADANNOTATIONS_H_
