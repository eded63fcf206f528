#include "tools/mavr/Commands.h"
#include "tools/mavr/Library.h"
#include "tools/mavr/Output.h"
#include "tools/mavr/ToolError.h"

#include <algorithm>
#include <cstdio>
#include <memory>

namespace mavr {
namespace {

struct Arguments {
   std::string kind;
   std::string id;
   std::string name;
   bool clear = false;
};

int32_t TypeOf(const Arguments &arguments) {
   return arguments.kind == "camera" ? MMDR_DEV_VIDEO : MMDR_DEV_AUDIO;
}

bool Matches(const Arguments &wanted, const Device &device) {
   return (!wanted.id.empty() && device.userId.find(wanted.id) != std::string::npos) ||
          (!wanted.name.empty() && device.name == wanted.name);
}

// The library keeps a microphone's name only beside an id, so the id is looked up for the user.
void AddMicrophoneId(Library &library, Arguments *wanted) {
   for (const Device &device : library.Devices(MMDR_DEV_AUDIO)) {
      if (device.name == wanted->name) {
         wanted->id = device.userId;
         return;
      }
   }
   throw ToolError("No microphone is called '" + wanted->name + "'.",
                   "An absent microphone is preferred by --id; 'mavr devices' lists those present.");
}

[[noreturn]] void FailNotStored() {
   throw ToolError("The preference could not be stored.", "Run 'mavr doctor' to find the cause.");
}

int Clear(Library &library, const Arguments &wanted) {
   library.Prefer(TypeOf(wanted), "", "");
   if (library.Preferred(TypeOf(wanted))) {
      FailNotStored();
   }
   std::printf("No %s is preferred now.\n", wanted.kind.c_str());
   return 0;
}

int Run(Arguments wanted) {
   Library library;
   const int32_t type = TypeOf(wanted);
   if (wanted.clear) {
      return Clear(library, wanted);
   }
   if (type == MMDR_DEV_AUDIO && wanted.id.empty()) {
      AddMicrophoneId(library, &wanted);
   }
   library.Prefer(type, wanted.id, wanted.name);

   // Storing reports success in every case; what the preference selects afterwards tells the truth.
   const auto selected = library.Preferred(type);
   const auto present = library.Devices(type);
   const bool expected =
      std::any_of(present.begin(), present.end(), [&](const Device &device) { return Matches(wanted, device); });
   if (selected ? !Matches(wanted, *selected) : expected) {
      FailNotStored();
   }
   if (selected) {
      std::printf("Stored. It selects %s (%s).\n", Printable(selected->name).c_str(),
                  Printable(selected->userId).c_str());
   } else {
      std::printf("Stored. No %s that is present now matches; 'mavr devices' lists them.\n", wanted.kind.c_str());
   }
   return 0;
}

} // namespace

void AddPreferCommand(const Command &app) {
   const Command command = app.AddCommand("prefer", "Store the preferred camera or microphone");
   const auto arguments = std::make_shared<Arguments>();
   command.AddText("KIND", &arguments->kind, "camera or microphone").Required().OneOf({"camera", "microphone"});
   const Option id = command.AddText("--id", &arguments->id, "User id, or a piece of one; tried first");
   const Option name = command.AddText("--name", &arguments->name, "Display name, exactly; tried when no id matches");
   command.AddFlag("--clear", &arguments->clear, "Prefer no device").Excludes(id).Excludes(name);
   command.Runs([=] {
      if (!arguments->clear && arguments->id.empty() && arguments->name.empty()) {
         throw UsageError("--id, --name or --clear is required");
      }
      return Run(*arguments);
   });
}

} // namespace mavr
