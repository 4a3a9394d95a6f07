#include "data_path.h"

#include <sys/stat.h>
#include <unistd.h>

#include <climits>

#ifndef TQLSIM_CATALOG
#define TQLSIM_CATALOG "catalog/catalog.json"
#endif
// Where an installed tqlsim finds its catalog, relative to its own folder.
#ifndef TQLSIM_INSTALLED_CATALOG
#define TQLSIM_INSTALLED_CATALOG "../share/tqllib/sim/catalog/catalog.json"
#endif

namespace tqlsim {

namespace {

std::string programFolder()
{
    char path[PATH_MAX];
    ssize_t n = readlink("/proc/self/exe", path, sizeof path - 1);
    if (n <= 0)
        return "";
    std::string exe(path, static_cast<size_t>(n));
    size_t slash = exe.rfind('/');
    return slash == std::string::npos ? "" : exe.substr(0, slash + 1);
}

bool isFile(const std::string& path)
{
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

} // namespace

std::string defaultCatalogPath()
{
    // An installed copy moves with its prefix, so the build tree's path
    // compiled in would point nowhere there.
    std::string folder = programFolder();
    if (!folder.empty() && isFile(folder + TQLSIM_INSTALLED_CATALOG))
        return folder + TQLSIM_INSTALLED_CATALOG;
    return TQLSIM_CATALOG;
}

} // namespace tqlsim
