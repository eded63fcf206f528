#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace mavr {

/// What a command line runs once it is read; its result is the exit status.
using Action = std::function<int()>;

/// A command line that is not as --help has it: a sentence without its full stop.
class UsageError : public std::runtime_error {
   using std::runtime_error::runtime_error;
};

/// An option of a command, to say more about it. Valid as long as its CommandLine.
class Option {
public:
   explicit Option(CLI::Option *option)
       : mOption(option) {}

   const Option &Required() const;
   const Option &ShowDefault() const; ///< --help shows the target's present value
   const Option &Within(int lowest, int highest) const;
   const Option &Within(double lowest, double highest) const;
   const Option &OneOf(const std::vector<std::string> &words) const;
   /// `faultOf` gives what is wrong with a text, or the empty text.
   const Option &Check(const std::function<std::string(const std::string &text)> &faultOf) const;
   const Option &Excludes(const Option &other) const;

private:
   CLI::Option *mOption;
};

/// A command with its options and commands of its own. Valid as long as its CommandLine; so must be each target, which
/// has the option's value once the command line is read.
class Command {
public:
   Command(CLI::App *app, Action *chosen)
       : mApp(app)
       , mChosen(chosen) {}

   [[nodiscard]] Command AddCommand(const std::string &name, const std::string &help = "") const;
   /// One of its commands must be given.
   void RequireCommand() const;
   /// Not in the list of commands.
   void Hide() const;

   /// "--name", or "NAME" for one that is told by its place.
   Option AddText(const std::string &name, std::string *target, const std::string &help) const;
   Option AddTexts(const std::string &name, std::vector<std::string> *target, const std::string &help) const;
   Option AddNumber(const std::string &name, int *target, const std::string &help = "") const;
   Option AddNumber(const std::string &name, uint32_t *target, const std::string &help = "") const;
   Option AddNumber(const std::string &name, double *target, const std::string &help = "") const;
   Option AddFlag(const std::string &name, bool *target, const std::string &help) const;

   /// What runs when this command is given. It throws ToolError for what the user must hear, UsageError for options
   /// that do not go together.
   void Runs(Action action) const;

private:
   CLI::App *mApp;
   Action *mChosen;
};

/// The whole command line. Behind it stands CLI11, whose headers cost a compiler more than all commands together: only
/// CommandLine.cpp reads them.
class CommandLine {
public:
   /// `footer` is the last line of --help.
   CommandLine(const std::string &name, const std::string &help, const std::string &version, const std::string &footer);
   ~CommandLine();
   CommandLine(const CommandLine &) = delete;
   CommandLine &operator=(const CommandLine &) = delete;

   /// Where the tool's commands are added.
   [[nodiscard]] Command Top();

   /// Reads the command line and runs what it says; --help and --version print. The exit status. Throws UsageError,
   /// and whatever the action throws.
   int Run(int argc, char **argv);

private:
   std::unique_ptr<CLI::App> mApp;
   Action mChosen;
};

} // namespace mavr
