#include "tools/mavr/CommandLine.h"
#include "tools/mavr/Commands.h"
#include "tools/mavr/Output.h"
#include "tools/mavr/ToolError.h"

#include <cstdio>
#include <exception>

namespace {

constexpr int kFailed = 1;
constexpr int kUsage = 2;

} // namespace

int main(int argc, char **argv) {
   mavr::CommandLine commandLine(
      "mavr", "Shows and sets what a remote session gets of this machine's cameras and microphones.", MAVR_VERSION,
      "Start with 'mavr doctor' when a device does not show. The manual: man mavr");
   const mavr::Command top = commandLine.Top();
   mavr::AddDevicesCommand(top);
   mavr::AddPreferredCommand(top);
   mavr::AddPreferCommand(top);
   mavr::AddOptionCommand(top);
   mavr::AddStatusCommand(top);
   mavr::AddDoctorCommand(top);
   mavr::AddFormatsCommand(top);
   mavr::AddRecordCommand(top);
   mavr::AddRedirectCommand(top);
   mavr::AddDumpCommand(top);
   mavr::AddBagCommand(top);

   try {
      const int status = commandLine.Run(argc, argv);
      if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
         throw mavr::ToolError("Standard output cannot be written.", "Is the disk full or the reader gone?");
      }
      return status;
   } catch (const mavr::UsageError &error) {
      std::fprintf(stderr, "mavr: %s. Run 'mavr --help' for the commands, 'mavr COMMAND --help' for their options.\n",
                   mavr::Printable(error.what()).c_str());
      return kUsage;
   } catch (const mavr::ToolError &error) {
      std::fprintf(stderr, "mavr: %s %s\n", mavr::Printable(error.what()).c_str(), error.Hint().c_str());
   } catch (const std::exception &error) {
      std::fprintf(stderr, "mavr: %s. Run 'mavr doctor' to find the cause.\n", mavr::Printable(error.what()).c_str());
   }
   return kFailed;
}
