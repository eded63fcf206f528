// Reading one setting of 42, each time with the look whether another process has changed the file, beside the
// platform's own settings store (GSettings on a key file) and a look-up in a parsed JSON object, which does no such
// look.

#include "bench/Harness.h"

#include "lib/mfw/common/logger.h"
#include "libs/utils/ConfigSettings.h"
#include "libs/utils/RegUtils.h"
#include "tests/kit/TempDir.h"

#include <benchmark/benchmark.h>
#include <nlohmann/json.hpp>

#define G_SETTINGS_ENABLE_BACKEND
#include <gio/gio.h>
#include <gio/gsettingsbackend.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <unordered_map>

namespace {

constexpr int kOtherKeys = 40;
const std::string kText = "Integrated Camera#0x1420000004f2b6d9-usb1"; // 41 bytes
constexpr uint32_t kNumber = 12345;

void FillOurs() {
   RegUtils::SetString("", "text", kText);
   RegUtils::SetDWORD("", "number", kNumber);
   for (int i = 0; i < kOtherKeys; ++i) {
      RegUtils::SetDWORD("", "other" + std::to_string(i), static_cast<uint32_t>(i));
   }
}

// Null when the schema compiler is missing.
GSettings *OpenGSettings(const kit::TempDir &folder) {
   std::ofstream schema(folder.Path() + "/bench.gschema.xml");
   schema << "<schemalist><schema id='bench' path='/bench/'><key name='text' type='s'><default>''</default></key>"
             "<key name='number' type='u'><default>0</default></key>";
   for (int i = 0; i < kOtherKeys; ++i) {
      schema << "<key name='other" << i << "' type='u'><default>0</default></key>";
   }
   schema << "</schema></schemalist>";
   schema.close();
   if (std::system(("glib-compile-schemas '" + folder.Path() + "'").c_str()) != 0) {
      return nullptr;
   }
   GSettingsSchemaSource *const source =
      g_settings_schema_source_new_from_directory(folder.Path().c_str(), nullptr, TRUE, nullptr);
   GSettingsSchema *const found = g_settings_schema_source_lookup(source, "bench", FALSE);
   GSettingsBackend *const backend =
      g_keyfile_settings_backend_new((folder.Path() + "/bench.ini").c_str(), "/", nullptr);
   GSettings *const settings = g_settings_new_full(found, backend, nullptr);
   g_settings_set_string(settings, "text", kText.c_str());
   g_settings_set_uint(settings, "number", kNumber);
   for (int i = 0; i < kOtherKeys; ++i) {
      g_settings_set_uint(settings, ("other" + std::to_string(i)).c_str(), static_cast<guint>(i));
   }
   g_settings_sync();
   return settings;
}

template <typename Operation>
bench::Sampler Each(Operation operation) {
   return bench::NanosecondsEach([operation](uint64_t times) {
      for (; times > 0; --times) {
         benchmark::DoNotOptimize(operation());
      }
   });
}

} // namespace

int main(int argc, char **argv) {
   bench::Report report(argc, argv);
   const kit::TempDir folder;
   setenv("XDG_CONFIG_HOME", folder.Path().c_str(), 1);
   logger::SetDropBelow(logger::DEBUG); // as a user's settings have it
   ConfigSettings::Init();
   FillOurs();
   GSettings *const gsettings = OpenGSettings(folder);
   if (gsettings == nullptr) {
      report.CannotRun("settings", "glib-compile-schemas failed");
      return report.Finish();
   }
   nlohmann::json json = {{"text", kText}, {"number", kNumber}};
   std::unordered_map<std::string, std::string> map = {{"text", kText}, {"number", std::to_string(kNumber)}};
   for (int i = 0; i < kOtherKeys; ++i) {
      json["other" + std::to_string(i)] = i;
      map["other" + std::to_string(i)] = std::to_string(i);
   }

   report.Run({.name = "settings.text",
               .unit = "ns",
               .ours = Each([] { return RegUtils::GetString("", "text", ""); }),
               .limit = bench::Case{"hash map and copy", Each([&] { return std::string(map.find("text")->second); })},
               .peers = {{"GSettings keyfile", Each([&] {
                             char *const text = g_settings_get_string(gsettings, "text");
                             std::string copy(text);
                             g_free(text);
                             return copy;
                          })},
                         {"json", Each([&] { return json["text"].get<std::string>(); })}}});
   report.Run({.name = "settings.number",
               .unit = "ns",
               .ours = Each([] { return RegUtils::GetDWORD("", "number", 0); }),
               .limit = bench::Case{"hash map", Each([&] { return map.find("number")->second.size(); })},
               .peers = {{"GSettings keyfile", Each([&] { return g_settings_get_uint(gsettings, "number"); })},
                         {"json", Each([&] { return json["number"].get<uint32_t>(); })}}});
   g_object_unref(gsettings);
   ConfigSettings::Shutdown();
   return report.Finish();
}
