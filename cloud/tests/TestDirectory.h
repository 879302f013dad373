#pragma once

#include <stdlib.h>

#include <filesystem>
#include <string>

namespace murvel::cloud::test {

// A fresh directory under the temporary directory, removed with everything in it at the end.
class TestDirectory {
 public:
  TestDirectory() {
    std::string name =
        (std::filesystem::temp_directory_path() / "murvel-cloud-test-XXXXXX").string();
    if (::mkdtemp(name.data()) != nullptr)
      path_ = name;
  }
  ~TestDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TestDirectory(const TestDirectory&) = delete;
  TestDirectory& operator=(const TestDirectory&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace murvel::cloud::test
