#pragma once
// A fresh folder under the system's temporary folder, removed with everything in it at the end
// of the scope, and whole files read and written. Qt-free so that the server's and the store's
// tests use the same one.

#include <filesystem>
#include <string>

namespace nq::test {

class TempDir {
  public:
    explicit TempDir(const std::string& prefix = "nq-test");
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& path() const { return path_; }
    std::string file(const std::string& name) const { return path_ + "/" + name; }

  private:
    std::string path_;
};

// A whole file's bytes ("" when it cannot be read), and a file made to hold exactly `bytes`.
std::string readFile(const std::string& path);
void writeFile(const std::string& path, const std::string& bytes);

}  // namespace nq::test
