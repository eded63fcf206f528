#include "lib/corvanebase/corvanebase.h"
#include "lib/corvanebase/text.h"

#include "osal/Places.h"

#include <string>
#include <unistd.h>

namespace {

// Null, with errno set, when the home folder is needed and there is none.
char *Expand(std::string_view text) {
   std::string expanded;
   if (text == "~" || text.substr(0, 2) == "~/") {
      expanded = osal::places::homeFolder();
      if (expanded.empty()) {
         return nullptr;
      }
      text.remove_prefix(1);
   }
   constexpr std::string_view kProcessId = "$PID";
   const std::string processId = std::to_string(getpid());
   for (size_t at = text.find(kProcessId); at != std::string_view::npos; at = text.find(kProcessId)) {
      expanded.append(text.substr(0, at)).append(processId);
      text.remove_prefix(at + kProcessId.size());
   }
   expanded.append(text);
   return corvanebase::HeapCopy(expanded).release();
}

} // namespace

char *Util_ExpandString(const char *text) {
   return Expand(text);
}
