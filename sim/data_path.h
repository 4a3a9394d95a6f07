#pragma once

#include <string>

namespace tqlsim {

// The catalog served when none is named: the installed one beside the
// program's own installation when there is one, else the source tree's.
std::string defaultCatalogPath();

} // namespace tqlsim
