#include "lib/corvanebase/rotate.h"

#include "lib/corvanebase/corvanebase.h"
#include "lib/corvanebase/owners.h"
#include "lib/corvanebase/text.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace corvanebase {

std::vector<RotationStep> PlanRotation(const std::vector<uint32_t> &numbers, uint32_t keepCount) {
   std::vector<RotationStep> steps;
   // How many files have the numbers 0, 1, 2, ... without a gap.
   uint32_t row = 0;
   while (row < numbers.size() && numbers[row] == row) {
      ++row;
   }
   // A file of the row goes up by one, and the last one of a full row is overwritten by that; any other file gets the
   // place behind its forerunner's. Without such a place it goes, the oldest first.
   for (size_t place = numbers.size(); place > 0; --place) {
      const bool inRow = place <= row;
      if (inRow ? place > keepCount : place >= keepCount) {
         steps.push_back({numbers[place - 1], kRemoved});
      }
   }
   // Behind the first gap every file comes down to the place that it has once the row in front of it has gone up by
   // one: the newest first, so that each place has been left when it is taken.
   for (uint32_t place = row; place < numbers.size() && place + 1 < keepCount; ++place) {
      if (numbers[place] != place + 1) {
         steps.push_back({numbers[place], place + 1});
      }
   }
   // The row goes up, the oldest first; the last one of a full row is overwritten.
   for (uint32_t place = std::min(row, keepCount > 0 ? keepCount - 1 : 0); place > 0; --place) {
      steps.push_back({place - 1, place});
   }
   return steps;
}

} // namespace corvanebase

namespace {

using corvanebase::RotationStep;

bool Exists(const std::string &path) {
   struct stat file {};
   return lstat(path.c_str(), &file) == 0;
}

// The names of a log file and of its kept ones: "FOLDER/STEM.log", "FOLDER/STEM-0.log".
class Names {
public:
   explicit Names(std::string_view path) {
      const size_t slash = path.rfind('/');
      const size_t name = slash == std::string_view::npos ? 0 : slash + 1;
      const size_t point = path.rfind('.');
      const size_t end = point != std::string_view::npos && point > name ? point : path.size();
      mFolder = name == 0 ? "." : path.substr(0, name);
      mBase = path.substr(0, end);
      mStem = path.substr(name, end - name);
      mEnding = path.substr(end);
   }

   const std::string &Folder() const { return mFolder; }
   std::string Kept(uint32_t number) const { return mBase + "-" + std::to_string(number) + mEnding; }

   // The number in the name of a kept file; nothing for any other name.
   std::optional<uint32_t> NumberOf(std::string_view name) const {
      if (name.size() <= mStem.size() + 1 + mEnding.size() || name.substr(0, mStem.size()) != mStem ||
          name[mStem.size()] != '-' || name.substr(name.size() - mEnding.size()) != mEnding) {
         return std::nullopt;
      }
      name.remove_prefix(mStem.size() + 1);
      name.remove_suffix(mEnding.size());
      uint32_t number = 0;
      const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), number);
      const bool canonical = name.front() != '0' || name.size() == 1;
      if (error != std::errc{} || end != name.data() + name.size() || !canonical || number == corvanebase::kRemoved) {
         return std::nullopt;
      }
      return number;
   }

private:
   std::string mFolder;
   std::string mBase;
   std::string mStem;
   std::string mEnding;
};

// The numbers from 0 to the first gap.
std::vector<uint32_t> ProbedNumbers(const Names &names, uint32_t keepCount) {
   std::vector<uint32_t> numbers;
   for (uint32_t number = 0; number < keepCount && Exists(names.Kept(number)); ++number) {
      numbers.push_back(number);
   }
   return numbers;
}

// All numbers in the folder; a folder that cannot be read is probed.
std::vector<uint32_t> ListedNumbers(const Names &names, uint32_t keepCount) {
   char **listed = nullptr;
   const int count = File_ListDirectory(names.Folder().c_str(), &listed);
   if (count < 0) {
      return ProbedNumbers(names, keepCount);
   }
   const corvanebase::HeapNames owned(listed, {count});
   std::vector<uint32_t> numbers;
   for (int at = 0; at < count; ++at) {
      if (const auto number = names.NumberOf(listed[at])) {
         numbers.push_back(*number);
      }
   }
   std::sort(numbers.begin(), numbers.end());
   return numbers;
}

bool Take(const Names &names, const RotationStep &step) {
   if (step.to == corvanebase::kRemoved) {
      // One file too many does not keep the log from going on.
      unlink(names.Kept(step.from).c_str());
      return true;
   }
   return std::rename(names.Kept(step.from).c_str(), names.Kept(step.to).c_str()) == 0 || errno == ENOENT;
}

int Rotate(const std::string &path, uint32_t keepCount, bool fast) {
   if (!Exists(path)) {
      return errno == ENOENT ? 0 : -1;
   }
   if (keepCount == 0) {
      return unlink(path.c_str());
   }
   const Names names(path);
   const auto numbers = fast ? ProbedNumbers(names, keepCount) : ListedNumbers(names, keepCount);
   for (const RotationStep &step : corvanebase::PlanRotation(numbers, keepCount)) {
      if (!Take(names, step)) {
         return -1;
      }
   }
   return std::rename(path.c_str(), names.Kept(0).c_str());
}

} // namespace

int File_Rotate(const char *path, int keepCount, int fast, int /*reserved*/) {
   if (keepCount < 0) {
      errno = EINVAL;
      return -1;
   }
   try {
      return Rotate(path, static_cast<uint32_t>(keepCount), fast != 0);
   } catch (const std::bad_alloc &) { // a log that goes on in one file is better than a host that ends
      errno = ENOMEM;
      return -1;
   }
}
