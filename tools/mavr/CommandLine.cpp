#include "tools/mavr/CommandLine.h"

#include <CLI/CLI.hpp>

#include <utility>

namespace mavr {

// ---- Option ---------------------------------------------------------------------------------------------------------

const Option &Option::Required() const {
   mOption->required();
   return *this;
}

const Option &Option::ShowDefault() const {
   mOption->capture_default_str();
   return *this;
}

const Option &Option::Within(int lowest, int highest) const {
   mOption->check(CLI::Range(lowest, highest));
   return *this;
}

const Option &Option::Within(double lowest, double highest) const {
   mOption->check(CLI::Range(lowest, highest));
   return *this;
}

const Option &Option::OneOf(const std::vector<std::string> &words) const {
   mOption->check(CLI::IsMember(words));
   return *this;
}

const Option &Option::Check(const std::function<std::string(const std::string &text)> &faultOf) const {
   mOption->check(faultOf);
   return *this;
}

const Option &Option::Excludes(const Option &other) const {
   mOption->excludes(other.mOption);
   return *this;
}

// ---- Command --------------------------------------------------------------------------------------------------------

Command Command::AddCommand(const std::string &name, const std::string &help) const {
   return {mApp->add_subcommand(name, help), mChosen};
}

void Command::RequireCommand() const {
   mApp->require_subcommand(1);
}

void Command::Hide() const {
   mApp->group("");
}

Option Command::AddText(const std::string &name, std::string *target, const std::string &help) const {
   return Option(mApp->add_option(name, *target, help));
}

Option Command::AddTexts(const std::string &name, std::vector<std::string> *target, const std::string &help) const {
   return Option(mApp->add_option(name, *target, help));
}

Option Command::AddNumber(const std::string &name, int *target, const std::string &help) const {
   return Option(mApp->add_option(name, *target, help));
}

Option Command::AddNumber(const std::string &name, uint32_t *target, const std::string &help) const {
   return Option(mApp->add_option(name, *target, help));
}

Option Command::AddNumber(const std::string &name, double *target, const std::string &help) const {
   return Option(mApp->add_option(name, *target, help));
}

Option Command::AddFlag(const std::string &name, bool *target, const std::string &help) const {
   return Option(mApp->add_flag(name, *target, help));
}

void Command::Runs(Action action) const {
   mApp->callback([chosen = mChosen, action = std::move(action)] { *chosen = action; });
}

// ---- CommandLine ----------------------------------------------------------------------------------------------------

CommandLine::CommandLine(const std::string &name, const std::string &help, const std::string &version,
                         const std::string &footer)
    : mApp(std::make_unique<CLI::App>(help, name)) {
   mApp->set_version_flag("--version", name + " " + version);
   mApp->require_subcommand(1);
   mApp->footer(footer);
}

CommandLine::~CommandLine() = default;

Command CommandLine::Top() {
   return {mApp.get(), &mChosen};
}

int CommandLine::Run(int argc, char **argv) {
   try {
      mApp->parse(argc, argv);
   } catch (const CLI::ParseError &error) {
      if (error.get_exit_code() != 0) {
         throw UsageError(error.what());
      }
      return mApp->exit(error); // --help and --version
   }
   return mChosen();
}

} // namespace mavr
