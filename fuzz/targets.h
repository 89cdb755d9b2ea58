// Fuzz targets: one per reader of a file the library accepts from disk.
// Each writes the fuzz input as that file into a scratch data directory,
// then drives the family's readers (and the writers that follow a read)
// through the public interface. A damaged file must give failure results:
// never a crash, a hang, an endless loop or a write outside the file. The
// targets check the last themselves and abort when a file grew past what
// its format allows.
//
// The same code runs under libFuzzer (fuzz_main.cpp), in the seed generator
// and in the regression test that replays every crash ever found.
#ifndef KVDATA_FUZZ_TARGETS_H
#define KVDATA_FUZZ_TARGETS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace kvfuzz {

using Bytes = std::vector<uint8_t>;

struct Target {
  const char* name;
  // Runs one input in `dir` (ends with a separator; emptied by the caller).
  void (*run)(const std::string& dir, const uint8_t* data, size_t size);
  // Small valid files made by the library itself, as starting inputs.
  std::vector<Bytes> (*seeds)(const std::string& dir);
};

const std::vector<Target>& Targets();
const Target* FindTarget(const std::string& name);

// A scratch data directory under the system's temporary directory for this
// process, emptied before every input.
const std::string& ScratchDir();
void EmptyDirectory(const std::string& dir);

// Runs one input through a target in a freshly emptied scratch directory.
void RunOne(const Target& t, const uint8_t* data, size_t size);

}  // namespace kvfuzz

#endif  // KVDATA_FUZZ_TARGETS_H
