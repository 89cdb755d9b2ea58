// State the library keeps between calls, and which thread may touch it.
//
// Every piece of such state is one of three kinds, and says which where it
// is declared:
//
//   per thread   thread_local. The last error, the key file's slot cache,
//                the display an ID-map pass reports to.
//   guarded      any thread may read or set it at any time. One word is a
//                std::atomic (language, lock time-out, the lock database's
//                switches); anything larger sits behind a kv::Mutex taken
//                for every access (host handlers with their context, the
//                station's texts, the file layer's handle table).
//   family       what a family keeps from its Init to its Exit: paths, the
//                open count and handle of its file, directory switches.
//                Not guarded: the host calls one family from one thread at
//                a time (the README's "Threads" says so to hosts). Kept in
//                one struct per family and reached through FamilyState<>,
//                so it is built on first use, never during another unit's
//                static initialisation, and a reader finds all of a
//                family's state in one place.
//
// A family struct may hold guarded members next to its own (the lock
// database's switches are atomics, its station texts sit behind a mutex);
// each such member says so where it is declared.
#ifndef KV_SERVICES_PROCESS_STATE_H
#define KV_SERVICES_PROCESS_STATE_H

#include "services/platform.h"

namespace kv {

// The one instance of a family's state: a struct of the family's own, or,
// where the state is a single value of a shared type, that type with a tag
// of the family (FamilyState<fixed::File, struct Designations>()).
template <class State, class Family = State>
State& FamilyState() {
  static State state;
  return state;
}

// The mutex of one piece of guarded state, named by a tag type of its own
// (ProcessMutex<struct HandlerTable>()); built on first use.
template <class Guarded>
Mutex& ProcessMutex() {
  static Mutex m;
  return m;
}

}  // namespace kv

#endif  // KV_SERVICES_PROCESS_STATE_H
