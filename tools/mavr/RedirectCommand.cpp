// The whole job on one machine: starts the capturing and the receiving side as processes of their own, shows how they
// go on, and tells what came of it.

#include "tools/mavr/Commands.h"
#include "tools/mavr/FormatText.h"
#include "tools/mavr/Interrupt.h"
#include "tools/mavr/LiveLine.h"
#include "tools/mavr/Output.h"
#include "tools/mavr/ToolError.h"
#include "tools/mavr/redirect/ChildProcess.h"
#include "tools/mavr/redirect/Sides.h"

#include "pcoip_host/local/LocalSocket.h"

#include "osal/Clock.h"
#include "osal/Threads.h"

#include <nlohmann/json.hpp>

#include <sys/stat.h>
#include <sys/wait.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace mavr {
namespace {

using redirect::ChildProcess;
using redirect::SideOptions;

constexpr uint64_t kLookNs = 50'000'000;
constexpr double kPatience = 45; // seconds beyond the stream's own, until both sides have ended

struct RedirectOptions {
   SideOptions side;
   bool json = false;
};

double NowSeconds() {
   return static_cast<double>(osal::Clock::current().monotonicNs()) / 1e9;
}

void MakeFolder(const std::string &path) {
   struct stat facts {};
   if (mkdir(path.c_str(), 0700) != 0 &&
       (errno != EEXIST || stat(path.c_str(), &facts) != 0 || !S_ISDIR(facts.st_mode))) {
      throw ToolError("'" + path + "' cannot be made: " + std::strerror(errno == EEXIST ? ENOTDIR : errno) + ".",
                      "Give a folder that can be written, as in --out report.");
   }
}

std::vector<std::string> Arguments(const char *side, const SideOptions &options) {
   std::vector<std::string> arguments = {"mavr",
                                         "redirect-side",
                                         side,
                                         "--socket",
                                         std::to_string(ChildProcess::kSocket),
                                         "--seconds",
                                         std::to_string(options.seconds),
                                         "--loss",
                                         std::to_string(options.lossPercent),
                                         "--out",
                                         options.out};
   if (options.isVideoReliable) {
      arguments.emplace_back("--reliable-video");
   }
   return arguments;
}

// ---- While it runs --------------------------------------------------------------------------------------------------

/// The two sides from their start to their end.
class BothSides {
public:
   explicit BothSides(const SideOptions &options)
       : BothSides(options, MakeSockets()) {}

   /// Until both have ended, one way or another.
   void Watch() {
      double deadline = NowSeconds() + mOptions.seconds + kPatience;
      while (!mAgent.Ended() || !mClient.Ended()) {
         osal::Clock::current().sleepNs(kLookNs);
         if (IsInterrupted() && !mIsInterrupted) {
            mIsInterrupted = true;
            mClient.LetGo(); // it ends its stream, and tells the agent
            deadline = NowSeconds() + kPatience;
         }
         if (NowSeconds() > deadline) {
            mHasHung = true;
            mClient.Kill();
            mAgent.Kill();
         }
         ShowProgress();
      }
      mLine.End();
   }

   /// Which of them ended badly, as a sentence; none when both did well. A side that has told the user why is not
   /// repeated: an empty sentence.
   [[nodiscard]] std::optional<std::string> Fault() {
      if (mHasHung) {
         return "The redirection did not come to its end.";
      }
      const int client = *mClient.Ended();
      const int agent = *mAgent.Ended();
      if (WIFSIGNALED(client)) {
         return "The capturing side was ended by signal " + std::to_string(WTERMSIG(client)) + ".";
      }
      if (WIFSIGNALED(agent)) {
         return "The receiving side was ended by signal " + std::to_string(WTERMSIG(agent)) + ".";
      }
      if (client == 0 && agent == 0) {
         return std::nullopt;
      }
      const bool isTold = WEXITSTATUS(client) == 1 || WEXITSTATUS(agent) == 1;
      return isTold ? std::string() : std::string("The two sides lost each other.");
   }

private:
   static pcoip_host::SocketPair MakeSockets() {
      auto pair = pcoip_host::MakeSocketPair();
      if (!pair) {
         throw ToolError("There are no descriptors left.", "Close something that is running.");
      }
      return std::move(*pair);
   }
   BothSides(const SideOptions &options, pcoip_host::SocketPair sockets)
       : mOptions(options)
       , mAgent(Arguments("agent", options), sockets.first)
       , mClient(Arguments("client", options), sockets.second) {}

   void ShowProgress() {
      while (const auto text = mAgent.ReadLine()) {
         const Json progress = Json::parse(*text, nullptr, false);
         if (progress.is_object() && mLine.IsDue()) {
            mLine.Show("%5.1f of %.4g s  %llu pictures, %llu lost  %llu chunks of sound, %llu lost",
                       progress.value("seconds", 0.0), mOptions.seconds,
                       static_cast<unsigned long long>(progress.value("frames", 0ULL)),
                       static_cast<unsigned long long>(progress.value("framesLost", 0ULL)),
                       static_cast<unsigned long long>(progress.value("chunks", 0ULL)),
                       static_cast<unsigned long long>(progress.value("chunksLost", 0ULL)));
         }
      }
   }

   const SideOptions mOptions;
   ChildProcess mAgent;
   ChildProcess mClient;
   LiveLine mLine;
   bool mIsInterrupted = false;
   bool mHasHung = false;
};

// ---- Afterwards -----------------------------------------------------------------------------------------------------

unsigned long long Number(const Json &json, const std::string &key) {
   const auto found = json.find(key);
   return found != json.end() && found->is_number() ? found->get<unsigned long long>() : 0;
}

void AddRows(std::vector<std::vector<std::string>> &rows, const Json &stream, const std::string &name,
             const std::string &unit) {
   if (!stream.is_object()) {
      rows.push_back({name, "none"});
      return;
   }
   rows.push_back({name, FormatText("%llu of %llu %s arrived whole over a %s channel, %.2f a second",
                                    Number(stream, unit + "Complete"),
                                    Number(stream, unit + "Complete") + Number(stream, unit + "Lost"), unit.c_str(),
                                    stream["channel"].get<std::string>().c_str(), stream["rate"].get<double>())});
   if (stream["datagramsSent"].is_number()) {
      rows.push_back({"", FormatText("%llu datagrams sent, %llu dropped on their way, %llu refused, %llu never arrived",
                                     Number(stream, "datagramsSent"), Number(stream, "datagramsDropped"),
                                     Number(stream, "datagramsRefused"), Number(stream, "datagramsLost"))});
   }
   const Json &latency = stream["captureToArrivalMs"];
   rows.push_back({"", FormatText("%.2f ms from capture to arrival (median), 99 %% within %.2f",
                                  latency["median"].get<double>(), latency["p99"].get<double>())});
   if (stream["trouble"].is_string()) {
      rows.push_back({"", stream["trouble"].get<std::string>()});
   }
}

std::string Account(const Json &report) {
   if (!report["complete"].get<bool>()) {
      return "not known: the capturing side did not live to tell what it had sent";
   }
   return report["accountAgrees"].get<bool>() ? "every frame and every datagram is accounted for"
                                              : "what arrived and what was sent do not agree";
}

void Print(const Json &report, const std::string &out) {
   std::vector<std::vector<std::string>> rows;
   AddRows(rows, report["video"], "pictures", "frames");
   AddRows(rows, report["audio"], "sound", "chunks");
   const Json &cpu = report["cpu"];
   if (cpu["clientPercent"].is_number()) {
      rows.push_back({"processor", FormatText("%.2f %% of a core to capture and send, %.2f %% to receive and check",
                                              cpu["clientPercent"].get<double>(), cpu["agentPercent"].get<double>())});
   }
   rows.push_back({"account", Account(report)});
   rows.push_back({"report", out + "/report.html"});
   PrintColumns(rows);
}

std::optional<Json> ReadReport(const std::string &path) {
   std::ifstream file(path);
   Json report = Json::parse(file, nullptr, false);
   return report.is_object() ? std::optional(std::move(report)) : std::nullopt;
}

// No picture and no chunk: the devices are there and give nothing.
bool IsEmpty(const Json &report) {
   return Number(report["video"].is_object() ? report["video"] : Json::object(), "framesComplete") +
             Number(report["audio"].is_object() ? report["audio"] : Json::object(), "chunksComplete") ==
          0;
}

int Redirect(const RedirectOptions &options) {
   WatchForInterrupt();
   MakeFolder(options.side.out);
   const std::string path = options.side.out + "/report.json";
   std::remove(path.c_str()); // of a former run
   BothSides sides(options.side);
   sides.Watch();
   const std::optional<std::string> fault = sides.Fault();
   const std::optional<Json> report = ReadReport(path);
   if (report) {
      if (options.json) {
         PrintJson(*report);
      } else {
         Print(*report, options.side.out);
      }
   }
   if (fault && fault->empty()) {
      return 1;
   }
   if (fault) {
      throw ToolError(*fault, report ? "The report shows what arrived until then."
                                     : "'mavr doctor' looks at what capture stands on; the logs have the details.");
   }
   if (!report) {
      throw ToolError("There is no report in '" + options.side.out + "'.", "Can the folder be written?");
   }
   if (IsEmpty(*report)) {
      throw ToolError("No picture and no sound came from the devices.",
                      "Is another program holding them? 'mavr doctor' looks at what capture stands on.");
   }
   return (*report)["accountAgrees"].get<bool>() ? 0 : 1;
}

void AddSideOptions(const Command &command, SideOptions *side) {
   command.AddNumber("--seconds", &side->seconds, "How long").ShowDefault().Within(0.1, 1e6);
   command.AddNumber("--loss", &side->lossPercent, "Percent of the datagrams of lossy channels that get lost")
      .ShowDefault()
      .Within(0.0, 100.0);
   command.AddText("--out", &side->out, "Folder for report, pictures and sound; made when it is not there")
      .ShowDefault();
   command.AddFlag("--reliable-video", &side->isVideoReliable, "Send pictures over a reliable channel");
}

// What the two processes run.
void AddSide(const Command &parent, const char *name, int (*run)(const SideOptions &)) {
   const Command command = parent.AddCommand(name);
   const auto side = std::make_shared<SideOptions>();
   AddSideOptions(command, side.get());
   command.AddNumber("--socket", &side->socket).Required();
   command.Runs([=] {
      std::signal(SIGINT, SIG_IGN);  // the whole job ends through the lifeline
      std::signal(SIGPIPE, SIG_IGN); // nobody may read the progress any more
      umask(S_IRWXG | S_IRWXO);      // pictures and voices are their owner's
      return run(*side);
   });
}

} // namespace

void AddRedirectCommand(const Command &app) {
   const Command command =
      app.AddCommand("redirect", "Send camera and microphone from one process to another, and report on it");
   const auto options = std::make_shared<RedirectOptions>();
   options->side.out = "redirect-report";
   AddSideOptions(command, &options->side);
   command.AddFlag("--json", &options->json, "Print the report as JSON");
   command.Runs([=] { return Redirect(*options); });
   const Command side = app.AddCommand("redirect-side");
   side.Hide();
   side.RequireCommand();
   AddSide(side, "client", redirect::RunClient);
   AddSide(side, "agent", redirect::RunAgent);
}

} // namespace mavr
