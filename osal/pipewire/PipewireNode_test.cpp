#include "osal/pipewire/PipewireNode.h"

#include <gtest/gtest.h>

namespace osal {
namespace {

using Ids = std::vector<std::string>;

PipewireNode Node(std::string name, std::string objectPath = "", uint64_t serial = 0) {
   PipewireNode node;
   node.mediaClass = "Video/Source";
   node.name = std::move(name);
   node.objectPath = std::move(objectPath);
   node.serial = serial;
   return node;
}

bool CountsAs(const char *mediaClass, const char *role) {
   PipewireNode node;
   node.mediaClass = mediaClass;
   node.mediaRole = role;
   return IsCapturable(node);
}

TEST(PipewireNode, ClassesOfCamerasAndMicrophones) {
   for (const char *const camera : {"Video/Source", "Video/Source/Virtual"}) {
      EXPECT_TRUE(IsOfKind(camera, PipewireNodeKind::Camera)) << camera;
      EXPECT_FALSE(IsOfKind(camera, PipewireNodeKind::Microphone)) << camera;
      EXPECT_TRUE(IsOfKind(camera, PipewireNodeKind::CameraOrMicrophone)) << camera;
   }
   for (const char *const microphone : {"Audio/Source", "Audio/Source/Virtual", "Audio/Duplex"}) {
      EXPECT_FALSE(IsOfKind(microphone, PipewireNodeKind::Camera)) << microphone;
      EXPECT_TRUE(IsOfKind(microphone, PipewireNodeKind::Microphone)) << microphone;
      EXPECT_TRUE(IsOfKind(microphone, PipewireNodeKind::CameraOrMicrophone)) << microphone;
   }
   for (const char *const other : {"", "Audio/Sink", "Video/Sink", "Stream/Input/Video", "Stream/Output/Audio",
                                   "video/source", "Video/Source ", "Video/Source/Virtual/More", "Midi/Bridge"}) {
      EXPECT_FALSE(IsOfKind(other, PipewireNodeKind::CameraOrMicrophone)) << other;
   }
}

TEST(PipewireNode, ACameraHasTheRoleCameraOrNone) {
   EXPECT_TRUE(CountsAs("Video/Source", "Camera"));
   EXPECT_TRUE(CountsAs("Video/Source", ""));
   EXPECT_TRUE(CountsAs("Video/Source/Virtual", ""));
   EXPECT_FALSE(CountsAs("Video/Source", "Screen"));
   EXPECT_FALSE(CountsAs("Video/Source/Virtual", "Screen"));
   EXPECT_FALSE(CountsAs("Video/Source", "camera"));
   EXPECT_FALSE(CountsAs("Video/Source", "Movie"));
   EXPECT_FALSE(CountsAs("Video/Sink", "Camera"));
}

TEST(PipewireNode, TheRoleOfAMicrophoneMeansNothing) {
   EXPECT_TRUE(CountsAs("Audio/Source", ""));
   EXPECT_TRUE(CountsAs("Audio/Duplex", "Communication"));
   EXPECT_FALSE(CountsAs("Audio/Sink", ""));
}

TEST(PipewireNode, TheDisplayNameIsTheBestThatIsNotEmpty) {
   PipewireNode node = Node("name");
   EXPECT_EQ(DisplayName(node), "name");
   node.nick = "nick";
   EXPECT_EQ(DisplayName(node), "nick");
   node.description = "description";
   EXPECT_EQ(DisplayName(node), "description");
   EXPECT_EQ(DisplayName(Node("")), "");
}

TEST(PipewireNode, NodesAreOrderedBySerialAndEqualOnesStay) {
   std::vector<PipewireNode> nodes{Node("c", "", 10), Node("a", "", 9), Node("x", "", 0), Node("b", "", 9)};
   SortBySerial(&nodes);
   Ids names;
   for (const PipewireNode &node : nodes) {
      names.push_back(node.name);
   }
   EXPECT_EQ(names, (Ids{"x", "a", "b", "c"}));
}

TEST(PipewireNode, TheIdIsTheName) {
   EXPECT_EQ(UniqueIds({}), Ids{});
   EXPECT_EQ(UniqueIds({Node("v4l2_input.pci-0000_00_14.0-usb-0_5_1.0", "v4l2:/dev/video0")}),
             Ids{"v4l2_input.pci-0000_00_14.0-usb-0_5_1.0"});
}

TEST(PipewireNode, ANodeWithoutANameGoesByPathThenSerial) {
   EXPECT_EQ(UniqueIds({Node("", "v4l2:/dev/video0", 7), Node("", "", 8), Node("", "", 9)}),
             (Ids{"v4l2:/dev/video0", "node 8", "node 9"}));
}

TEST(PipewireNode, OfNodesThatShareANameTheFirstKeepsIt) {
   EXPECT_EQ(UniqueIds({Node("cam"), Node("cam"), Node("other"), Node("cam")}),
             (Ids{"cam", "cam (2)", "other", "cam (3)"}));
}

TEST(PipewireNode, NodesThatShareANameAreToldApartByTheirPath) {
   EXPECT_EQ(UniqueIds({Node("cam", "v4l2:/dev/video0"), Node("cam", "v4l2:/dev/video2")}),
             (Ids{"cam", "cam (v4l2:/dev/video2)"}));
   EXPECT_EQ(UniqueIds({Node("cam", "p"), Node("cam", "p"), Node("cam", "p")}), (Ids{"cam", "cam (p)", "cam (2)"}));
}

TEST(PipewireNode, ANodeThatIsReallyCalledLikeADoubleKeepsItsName) {
   EXPECT_EQ(UniqueIds({Node("cam"), Node("cam"), Node("cam (2)")}), (Ids{"cam", "cam (3)", "cam (2)"}));
}

TEST(PipewireNode, IdsAndNamesAreNotTouched) {
   const std::string broken = "caf\xE9 #1 \xD7\x90 " + std::string(300, 'x');
   EXPECT_EQ(UniqueIds({Node(broken)}), Ids{broken});
   EXPECT_EQ(DisplayName(Node(broken)), broken);
}

} // namespace
} // namespace osal
