#include "tools/mavr/Commands.h"
#include "tools/mavr/Library.h"
#include "tools/mavr/Output.h"
#include "tools/mavr/ToolError.h"

#include <nlohmann/json.hpp>

#include <charconv>
#include <cstdio>
#include <memory>

namespace mavr {
namespace {

std::optional<uint32_t> ParseOption(const std::string &text) {
   for (uint32_t option = 0; OptionName(option); ++option) {
      if (*OptionName(option) == text) {
         return option;
      }
   }
   uint32_t number = 0;
   const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
   return error == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

int Run(const std::string &wanted, bool json) {
   Library library;
   if (!wanted.empty()) {
      library.SetOption(*ParseOption(wanted));
   }
   const uint32_t option = library.Option();
   const auto name = OptionName(option);
   if (json) {
      PrintJson(OptionJson(option));
   } else {
      std::printf("%u %s\n", option, name ? name->c_str() : "(unknown)");
   }
   if (!name) {
      throw ToolError("The stored microphone option " + std::to_string(option) + " is none of 0, 1, 2.",
                      "Store a valid one: 'mavr option all'.");
   }
   return 0;
}

} // namespace

void AddOptionCommand(const Command &app) {
   const Command command =
      app.AddCommand("option", "Show or store which microphones are redirected: all, default or preferred");
   const auto wanted = std::make_shared<std::string>();
   const auto json = std::make_shared<bool>(false);
   command.AddText("OPTION", wanted.get(), "all (0), default (1), preferred (2) or a number")
      .Check([](const std::string &text) {
         return ParseOption(text) ? std::string() : "'" + text + "' is neither all, default, preferred nor a number";
      });
   command.AddFlag("--json", json.get(), "Print JSON");
   command.Runs([=] { return Run(*wanted, *json); });
}

} // namespace mavr
