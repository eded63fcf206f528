#include "tools/mavr/Checkup.h"
#include "tools/mavr/Commands.h"
#include "tools/mavr/Output.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>
#include <memory>

namespace mavr {
namespace {

const char *VerdictText(Finding::Verdict verdict) {
   switch (verdict) {
   case Finding::Verdict::Ok:
      return "ok";
   case Finding::Verdict::Warning:
      return "warning";
   case Finding::Verdict::Failure:
      break;
   }
   return "failure";
}

std::vector<Finding> Examine() {
   const Finding settings = CheckSettingsFile();
   Library library;
   std::vector<Finding> findings = CheckPlatform();
   findings.push_back(settings);
   findings.push_back(CheckConfiguration());
   findings.push_back(CheckLog());
   findings.push_back(CheckSwitch(library));
   findings.push_back(CheckPolicy());
   findings.push_back(CheckPreference(library, MMDR_DEV_VIDEO));
   findings.push_back(CheckPreference(library, MMDR_DEV_AUDIO));
   findings.push_back(CheckOption(library));
   return findings;
}

void Print(const std::vector<Finding> &findings) {
   for (const Finding &finding : findings) {
      std::printf("%-8s %s: %s\n", VerdictText(finding.verdict), finding.check.c_str(),
                  Printable(finding.result).c_str());
      if (!finding.advice.empty()) {
         std::printf("         -> %s\n", Printable(finding.advice).c_str());
      }
   }
}

Json ToJson(const std::vector<Finding> &findings) {
   Json checks = Json::array();
   for (const Finding &finding : findings) {
      checks.push_back({{"check", finding.check},
                        {"verdict", VerdictText(finding.verdict)},
                        {"result", finding.result},
                        {"advice", finding.advice}});
   }
   return checks;
}

int Run(bool json) {
   const std::vector<Finding> findings = Examine();
   const bool failed = std::any_of(findings.begin(), findings.end(),
                                   [](const Finding &finding) { return finding.verdict == Finding::Verdict::Failure; });
   if (json) {
      PrintJson({{"ok", !failed}, {"checks", ToJson(findings)}});
   } else {
      Print(findings);
   }
   return failed ? 1 : 0;
}

} // namespace

void AddDoctorCommand(const Command &app) {
   const Command command =
      app.AddCommand("doctor", "Check one by one what listing and opening devices stands on; 1 when something fails");
   const auto json = std::make_shared<bool>(false);
   command.AddFlag("--json", json.get(), "Print JSON");
   command.Runs([=] { return Run(*json); });
}

} // namespace mavr
