#include "osal/pipewire/PipewireSocket.h"

#include "tests/kit/PrivatePipewire.h"
#include "tests/kit/TempDir.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace osal {
namespace {

using Paths = std::vector<std::string>;

/// The variables that matter, all unset but those given.
kit::ScopedEnvironment::Variables Only(kit::ScopedEnvironment::Variables given) {
   kit::ScopedEnvironment::Variables variables{{"PIPEWIRE_REMOTE", std::nullopt},
                                               {"PIPEWIRE_RUNTIME_DIR", std::nullopt},
                                               {"XDG_RUNTIME_DIR", std::nullopt},
                                               {"USERPROFILE", std::nullopt}};
   variables.insert(variables.end(), given.begin(), given.end());
   return variables;
}

TEST(PipewireSocket, TheFolderIsTheFirstOfThreeVariables) {
   const kit::ScopedEnvironment outer(Only({{"USERPROFILE", "/c"}}));
   EXPECT_EQ(PipewireSocketPaths(), (Paths{"/c/pipewire-0", "/run/pipewire/pipewire-0"}));
   const kit::ScopedEnvironment middle("XDG_RUNTIME_DIR", "/b");
   EXPECT_EQ(PipewireSocketPaths(), (Paths{"/b/pipewire-0", "/run/pipewire/pipewire-0"}));
   const kit::ScopedEnvironment inner("PIPEWIRE_RUNTIME_DIR", "/a");
   EXPECT_EQ(PipewireSocketPaths(), (Paths{"/a/pipewire-0", "/run/pipewire/pipewire-0"}));
}

TEST(PipewireSocket, WithoutAFolderThereIsTheSystemsOwn) {
   const kit::ScopedEnvironment environment(Only({}));
   EXPECT_EQ(PipewireSocketPaths(), Paths{"/run/pipewire/pipewire-0"});
}

TEST(PipewireSocket, TheRemoteIsANameOrAWholePath) {
   const kit::ScopedEnvironment outer(Only({{"XDG_RUNTIME_DIR", "/b"}, {"PIPEWIRE_REMOTE", "other"}}));
   EXPECT_EQ(PipewireSocketPaths(), (Paths{"/b/other", "/run/pipewire/other"}));
   const kit::ScopedEnvironment whole("PIPEWIRE_REMOTE", "/x/y");
   EXPECT_EQ(PipewireSocketPaths(), Paths{"/x/y"});
   const kit::ScopedEnvironment empty("PIPEWIRE_REMOTE", "");
   EXPECT_EQ(PipewireSocketPaths(), (Paths{"/b/pipewire-0", "/run/pipewire/pipewire-0"}));
}

TEST(PipewireSocket, AMissingSocketIsNamed) {
   const kit::TempDir folder;
   const kit::ScopedEnvironment environment(Only({{"XDG_RUNTIME_DIR", folder.Path()}}));
   const Status status = ExplainSocket();
   EXPECT_EQ(status.code, ENOENT);
   EXPECT_EQ(status.reason, "there is no PipeWire socket " + (folder / "pipewire-0"));
}

TEST(PipewireSocket, AFileInItsPlaceIsNamed) {
   const kit::TempDir folder;
   kit::WriteFile(folder / "pipewire-0", "");
   const kit::ScopedEnvironment environment(Only({{"XDG_RUNTIME_DIR", folder.Path()}}));
   const Status status = ExplainSocket();
   EXPECT_EQ(status.code, ENOTSOCK);
   EXPECT_EQ(status.reason,
             "the PipeWire socket " + (folder / "pipewire-0") + " cannot be used: Socket operation on non-socket");
}

} // namespace
} // namespace osal
