// Windows file systems compare names without regard to case, so a name is
// used as given: there is nothing to look up.
#include "services/name_resolve.h"

namespace kv {

bool FindEntryIgnoringCase(const std::string&, const std::string&, std::string*) { return false; }

}  // namespace kv
