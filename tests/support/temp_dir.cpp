#include "support/temp_dir.h"

#include <stdlib.h>

#include <stdexcept>
#include <system_error>

namespace nq::test {

TempDir::TempDir(const std::string& prefix) {
    std::string pattern = (std::filesystem::temp_directory_path() / (prefix + "-XXXXXX")).string();
    if (!::mkdtemp(pattern.data())) throw std::runtime_error("cannot make a temporary folder " + pattern);
    path_ = pattern;
}

TempDir::~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

}  // namespace nq::test
