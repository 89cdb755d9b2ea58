// The content by which this library's POSIX holder marks a delete-on-close
// lock file (kvlogfile.lok).
//
// On Windows such a file vanishes with its holder. A POSIX process that dies
// cannot delete it, so the holder keeps a byte-range lock on its first byte
// for as long as it holds the file, and writes this line into it before the
// file appears under its name:
//     "kvdata lock holder host=<host name> pid=<process id>\n"
// Only a file that carries the line can be judged by that lock: a lock file
// of the Windows program is empty and holds no byte-range lock, so the
// absence of a lock says nothing about it, and only its age can.
#ifndef KV_SERVICES_LOCKFILE_MARK_H
#define KV_SERVICES_LOCKFILE_MARK_H

#include <cstddef>
#include <cstring>

namespace kv {

constexpr char kLockHolderMark[] = "kvdata lock holder ";
constexpr size_t kLockHolderMarkLength = sizeof kLockHolderMark - 1;
// Bytes worth reading to see the whole line.
constexpr size_t kLockHolderLineMax = 160;

[[nodiscard]] inline bool HasLockHolderMark(const char* bytes, size_t n) {
  return n >= kLockHolderMarkLength && std::memcmp(bytes, kLockHolderMark, kLockHolderMarkLength) == 0;
}

}  // namespace kv

#endif  // KV_SERVICES_LOCKFILE_MARK_H
