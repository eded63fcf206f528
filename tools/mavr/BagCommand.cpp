// Shows what the message layer makes of named values: the bag as a tree, and each text of it as it goes over the wire.

#include "tools/mavr/Commands.h"
#include "tools/mavr/Output.h"
#include "tools/mavr/ToolError.h"

#include "lib/mfw/common/logger.h"
#include "lib/mfw/messageframework/propertybag.h"
#include "lib/mfw/messageframework/wirestring.h"

#include <nlohmann/json.hpp>

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace mavr {
namespace {

using CORE::corestring;
using CORE::PropertyBag;

constexpr size_t kDeepest = 64; // levels; no more fit a line

const std::vector<std::string> kSample = {"name=audio.stream",
                                          "type=reliable",
                                          "started=true",
                                          "state=open",
                                          "prio=5",
                                          "peer/name=Caf\u00E9 \U0001F600",
                                          "peer/limits/bytes=0x10000"};

// Adds "NAME=VALUE"; slashes lead into bags, which are made on the way.
void AddText(PropertyBag &bag, const std::string &text) {
   const std::string path = text.substr(0, text.find('='));
   const std::string value = path.size() < text.size() ? text.substr(path.size() + 1) : "";
   PropertyBag at(bag.Body());
   size_t depth = 0;
   size_t start = 0;
   for (size_t slash = path.find('/'); slash != std::string::npos; slash = path.find('/', start)) {
      const std::string name = path.substr(start, slash - start);
      if (at.Has(name.c_str()) && !at.IsBag(name.c_str())) {
         throw ToolError("'" + name + "' is a text already and can hold no other.",
                         "Choose another name for one of them.");
      }
      if (++depth > kDeepest) {
         throw ToolError("'" + name + "' would lie more than 64 levels deep.", "Use fewer slashes.");
      }
      if (!at.Has(name.c_str())) {
         at.AddBag(name.c_str(), PropertyBag(), false);
      }
      at.Share(at.GetBag(name.c_str()));
      start = slash + 1;
   }
   at.Add(path.substr(start).c_str(), value.c_str());
}

// ---- The tree -------------------------------------------------------------------------------------------------------

void PrintTree(const PropertyBag &bag, int depth) {
   for (size_t index = 0; index < bag.GetCount(); ++index) {
      const std::string name = Printable(bag.GetNameTextAt(index));
      if (bag.IsBagAt(index)) {
         std::printf("%*s%s\n", 2 * depth, "", name.c_str());
         PrintTree(bag.GetBagAt(index), depth + 1);
      } else {
         std::printf("%*s%s = %s\n", 2 * depth, "", name.c_str(), Printable(bag.GetStringTextAt(index)).c_str());
      }
   }
}

// A list, for names need not be unique.
Json TreeJson(const PropertyBag &bag) {
   Json tree = Json::array();
   for (size_t index = 0; index < bag.GetCount(); ++index) {
      Json entry = {{"name", bag.GetNameTextAt(index)}};
      if (bag.IsBagAt(index)) {
         entry["bag"] = TreeJson(bag.GetBagAt(index));
      } else {
         entry["value"] = bag.GetStringTextAt(index);
      }
      tree.push_back(entry);
   }
   return tree;
}

// ---- The wire -------------------------------------------------------------------------------------------------------

struct OnWire {
   std::string bytes; // in hexadecimal; empty when it cannot be written
   bool readsBack = false;
};

OnWire Transferred(const corestring &text, CORE::Encoding encoding) {
   std::vector<uint8_t> room(text.Length() * 2 + 1);
   CORE::bytecursor cursor;
   cursor.Init(room.data(), static_cast<uint32_t>(room.size()));
   uint32_t chars = 0;
   if (!CORE::WriteString(text, encoding, cursor, chars)) {
      return {};
   }
   OnWire wire;
   for (uint32_t at = 0; at < cursor.GetConsumed(); ++at) {
      char byte[4];
      std::snprintf(byte, sizeof byte, at == 0 ? "%02X" : " %02X", static_cast<unsigned>(room[at]));
      wire.bytes += byte;
   }
   cursor.Init(room.data(), cursor.GetConsumed());
   corestring again;
   wire.readsBack = CORE::ReadString(again, cursor, chars, encoding) && again == text;
   return wire;
}

struct Text {
   std::string path;
   OnWire utf8;
   OnWire utf16;
};

void AddTexts(std::vector<Text> &texts, const PropertyBag &bag, const std::string &prefix) {
   for (size_t index = 0; index < bag.GetCount(); ++index) {
      const std::string path = prefix + bag.GetNameTextAt(index);
      if (bag.IsBagAt(index)) {
         AddTexts(texts, bag.GetBagAt(index), path + "/");
      } else {
         const corestring text = bag.GetStringAt(index);
         texts.push_back({path, Transferred(text, CORE::Utf8), Transferred(text, CORE::Utf16)});
      }
   }
}

Json ToJson(const OnWire &wire) {
   return {{"bytes", wire.bytes}, {"readsBack", wire.readsBack}};
}

void PrintWire(const char *encoding, const OnWire &wire) {
   std::printf("  %-5s  %s%s\n", encoding, wire.bytes.c_str(),
               wire.readsBack       ? ""
               : wire.bytes.empty() ? "cannot be written"
                                    : "  reads back as another text");
}

int Run(const std::vector<std::string> &wanted, bool json) {
   // What cannot be written is shown in its place; the line of the log would stand in the way.
   logger::Init([](const char *, int) {});
   PropertyBag bag;
   for (const std::string &text : wanted.empty() ? kSample : wanted) {
      AddText(bag, text);
   }
   std::vector<Text> texts;
   AddTexts(texts, bag, "");
   if (json) {
      Json strings = Json::array();
      for (const Text &text : texts) {
         strings.push_back({{"path", text.path}, {"utf8", ToJson(text.utf8)}, {"utf16", ToJson(text.utf16)}});
      }
      PrintJson({{"bag", TreeJson(bag)}, {"strings", strings}});
      return 0;
   }
   PrintTree(bag, 0);
   std::printf("\nOn the wire:\n");
   for (const Text &text : texts) {
      std::printf("%s\n", Printable(text.path).c_str());
      PrintWire("Utf8", text.utf8);
      PrintWire("Utf16", text.utf16);
   }
   return 0;
}

} // namespace

void AddBagCommand(const Command &app) {
   const Command command = app.AddCommand("bag", "Show named values as a tree and on the wire");
   command.Hide(); // for support: not in the list of commands
   const auto texts = std::make_shared<std::vector<std::string>>();
   const auto json = std::make_shared<bool>(false);
   command.AddTexts("TEXT", texts.get(), "NAME=VALUE, or BAG/NAME=VALUE; a sample without any");
   command.AddFlag("--json", json.get(), "Print JSON");
   command.Runs([=] { return Run(*texts, *json); });
}

} // namespace mavr
