// The five entries that describe a channel, looked up, read as a number, and built anew, beside a bare scan of five
// names, GStreamer's structure, and a JSON object.

#include "bench/Harness.h"

#include "lib/mfw/messageframework/propertybag.h"

#include <benchmark/benchmark.h>
#include <gst/gst.h>
#include <nlohmann/json.hpp>

#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <strings.h>

namespace {

using Json = nlohmann::json;

struct FreeStructure {
   void operator()(GstStructure *structure) const { gst_structure_free(structure); }
};
using Structure = std::unique_ptr<GstStructure, FreeStructure>;

constexpr std::array<const char *, 5> kNames = {"name", "type", "started", "state", "prio"};

void Require(bool holds) {
   if (!holds) {
      std::abort();
   }
}

// ---- Building -------------------------------------------------------------------------------------------------------

void Fill(CORE::PropertyBag &bag) {
   bag.Set("name", "audio.stream");
   bag.Set("type", "reliable");
   bag.Set("started", "true");
   bag.Set("state", "open");
   bag.SetInt("prio", 5);
}

Structure FilledStructure() {
   GstStructure *const structure = gst_structure_new_empty("channel");
   gst_structure_set(structure, "name", G_TYPE_STRING, "audio.stream", "type", G_TYPE_STRING, "reliable", "started",
                     G_TYPE_STRING, "true", "state", G_TYPE_STRING, "open", "prio", G_TYPE_INT, 5, nullptr);
   return Structure(structure);
}

Json FilledJson() {
   Json object = Json::object();
   object["name"] = "audio.stream";
   object["type"] = "reliable";
   object["started"] = "true";
   object["state"] = "open";
   object["prio"] = 5;
   return object;
}

// ---- Looking up -----------------------------------------------------------------------------------------------------

struct Named {
   std::string name;
   const char *value;
};

const char *Scan(const std::array<Named, kNames.size()> &entries, const char *name) {
   const size_t length = std::strlen(name);
   for (const Named &entry : entries) {
      if (entry.name.size() == length && strncasecmp(entry.name.c_str(), name, length) == 0) {
         return entry.value;
      }
   }
   return nullptr;
}

// One look-up each time, of each of the names in turn.
template <class Find>
bench::Sampler LookedUp(Find find) {
   return bench::CpuNanosecondsEach([find](uint64_t times) {
      for (size_t at = 0; times > 0; --times) {
         const char *name = kNames[at];
         benchmark::DoNotOptimize(name);
         benchmark::DoNotOptimize(find(name));
         at = at + 1 < kNames.size() ? at + 1 : 0;
      }
   });
}

template <class Work>
bench::Sampler Repeated(Work work) {
   return bench::CpuNanosecondsEach([work](uint64_t times) {
      for (; times > 0; --times) {
         work();
      }
   });
}

} // namespace

int main(int argc, char **argv) {
   bench::Report report(argc, argv);
   gst_init(nullptr, nullptr);

   CORE::PropertyBag bag;
   Fill(bag);
   const Structure structure = FilledStructure();
   const Json object = FilledJson();
   std::array<Named, kNames.size()> entries;
   for (size_t at = 0; at < kNames.size(); ++at) {
      entries[at] = {kNames[at], bag.GetStringOrNull(kNames[at])};
      Require(Scan(entries, kNames[at]) == entries[at].value);
   }
   Require(bag.GetInt("prio") == 5 && object.at("prio").get<int>() == 5);

   report.Run({.name = "bag.lookup",
               .unit = "ns",
               .ours = LookedUp([&](const char *name) { return bag.GetStringOrNull(name); }),
               .limit = bench::Case{"linear scan", LookedUp([&](const char *name) { return Scan(entries, name); })},
               .peers = {{"GstStructure",
                          LookedUp([&](const char *name) { return gst_structure_get_value(structure.get(), name); })},
                         {"nlohmann json", LookedUp([&](const char *name) { return &*object.find(name); })}}});
   report.Run({.name = "bag.getint",
               .unit = "ns",
               .ours = Repeated([&] { benchmark::DoNotOptimize(bag.GetInt("prio")); }),
               .peers = {{"GstStructure", Repeated([&] {
                             gint value = 0;
                             Require(gst_structure_get_int(structure.get(), "prio", &value) != FALSE);
                             benchmark::DoNotOptimize(value);
                          })},
                         {"nlohmann json", Repeated([&] {
                             int value = object.find("prio")->get<int>();
                             benchmark::DoNotOptimize(value);
                          })}}});
   report.Run({.name = "bag.build",
               .unit = "ns",
               .ours = Repeated([] {
                  CORE::PropertyBag built;
                  Fill(built);
                  benchmark::DoNotOptimize(built.GetCount());
               }),
               .peers = {{"GstStructure", Repeated([] {
                             const Structure built = FilledStructure();
                             benchmark::DoNotOptimize(built.get());
                          })},
                         {"nlohmann json", Repeated([] {
                             const Json built = FilledJson();
                             benchmark::DoNotOptimize(built.size());
                          })}}});
   return report.Finish();
}
