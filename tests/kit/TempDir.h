#pragma once

#include <string>

namespace kit {

/// A fresh folder, removed with its content at the end of its life. Owner: the test.
class TempDir {
public:
   TempDir();
   ~TempDir();
   TempDir(const TempDir &) = delete;
   TempDir &operator=(const TempDir &) = delete;

   [[nodiscard]] const std::string &Path() const { return mPath; }
   [[nodiscard]] std::string operator/(const std::string &name) const { return mPath + "/" + name; }

private:
   std::string mPath;
};

/// Whole content of a file; empty when it cannot be read.
[[nodiscard]] std::string ReadFile(const std::string &path);
void WriteFile(const std::string &path, const std::string &content);

} // namespace kit
