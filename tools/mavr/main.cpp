#include "tools/mavr/Commands.h"
#include "tools/mavr/Output.h"
#include "tools/mavr/ToolError.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <exception>

namespace {

constexpr int kFailed = 1;
constexpr int kUsage = 2;

int ReportUsage(const CLI::App &app, const CLI::ParseError &error) {
   if (error.get_exit_code() == 0) { // --help and --version
      return app.exit(error);
   }
   std::fprintf(stderr, "mavr: %s. Run 'mavr --help' for the commands, 'mavr COMMAND --help' for their options.\n",
                mavr::Printable(error.what()).c_str());
   return kUsage;
}

} // namespace

int main(int argc, char **argv) {
   CLI::App app("Shows and sets what a remote session gets of this machine's cameras and microphones.", "mavr");
   app.set_version_flag("--version", "mavr " MAVR_VERSION);
   app.require_subcommand(1);
   app.footer("Start with 'mavr doctor' when a device does not show. The manual: man mavr");

   mavr::Action action;
   mavr::AddDevicesCommand(app, &action);
   mavr::AddPreferredCommand(app, &action);
   mavr::AddPreferCommand(app, &action);
   mavr::AddOptionCommand(app, &action);
   mavr::AddStatusCommand(app, &action);
   mavr::AddDoctorCommand(app, &action);
   mavr::AddFormatsCommand(app, &action);
   mavr::AddRecordCommand(app, &action);
   mavr::AddRedirectCommand(app, &action);
   mavr::AddDumpCommand(app, &action);
   mavr::AddBagCommand(app, &action);

   try {
      app.parse(argc, argv);
      const int status = action();
      if (std::fflush(stdout) != 0) {
         throw mavr::ToolError("Standard output cannot be written.", "Is the disk full or the reader gone?");
      }
      return status;
   } catch (const CLI::ParseError &error) {
      return ReportUsage(app, error);
   } catch (const mavr::ToolError &error) {
      std::fprintf(stderr, "mavr: %s %s\n", mavr::Printable(error.what()).c_str(), error.Hint().c_str());
   } catch (const std::exception &error) {
      std::fprintf(stderr, "mavr: %s. Run 'mavr doctor' to find the cause.\n", mavr::Printable(error.what()).c_str());
   }
   return kFailed;
}
