#include "osal/pipewire/PipewireListing.h"

#include "osal/pipewire/PipewireFormats.h"

#include <pipewire/extensions/metadata.h>
#include <spa/utils/json.h>

#include <charconv>
#include <cstring>
#include <memory>
#include <utility>

namespace osal {
namespace {

std::string Property(const spa_dict *properties, const char *key) {
   const char *const value = properties != nullptr ? spa_dict_lookup(properties, key) : nullptr;
   return value != nullptr ? value : "";
}

uint64_t Number(const std::string &text) {
   uint64_t number = 0;
   std::from_chars(text.data(), text.data() + text.size(), number);
   return number;
}

/// A node of the daemon while its facts come in. Owner: Registry. Threads: the loop's. Destroyed before its connection.
class BoundNode {
public:
   explicit BoundNode(pw_proxy *proxy)
       : mProxy(proxy) {
      static constexpr pw_proxy_events proxyEvents = [] {
         pw_proxy_events events{};
         events.version = PW_VERSION_PROXY_EVENTS;
         events.removed = [](void *data) {
            static_cast<BoundNode *>(data)->mIsGone = true;
         };
         return events;
      }();
      static constexpr pw_node_events nodeEvents = [] {
         pw_node_events events{};
         events.version = PW_VERSION_NODE_EVENTS;
         events.info = [](void *data, const pw_node_info *info) {
            static_cast<BoundNode *>(data)->TakeInfo(*info);
         };
         events.param = [](void *data, int, uint32_t id, uint32_t, uint32_t, const spa_pod *param) {
            static_cast<BoundNode *>(data)->TakeParam(id, param);
         };
         return events;
      }();
      pw_proxy_add_listener(mProxy, &mProxyHook, &proxyEvents, this);
      pw_proxy_add_object_listener(mProxy, &mNodeHook, &nodeEvents, this);
   }

   ~BoundNode() {
      spa_hook_remove(&mNodeHook);
      spa_hook_remove(&mProxyHook);
      pw_proxy_destroy(mProxy);
   }
   BoundNode(const BoundNode &) = delete;
   BoundNode &operator=(const BoundNode &) = delete;

   void AskForFormats() {
      pw_node_enum_params(reinterpret_cast<pw_node *>(mProxy), 0, SPA_PARAM_EnumFormat, 0, UINT32_MAX, nullptr);
   }

   /// Whether the node was there to the end and told about itself.
   [[nodiscard]] bool IsThere() const { return mHasInfo && !mIsGone; }
   [[nodiscard]] PipewireNode Take() {
      RemoveDoubles(&mNode.formats);
      return std::move(mNode);
   }

private:
   void TakeInfo(const pw_node_info &info) {
      if ((info.change_mask & PW_NODE_CHANGE_MASK_PROPS) == 0 || info.props == nullptr) {
         return;
      }
      mHasInfo = true;
      mNode.mediaClass = Property(info.props, PW_KEY_MEDIA_CLASS);
      mNode.mediaRole = Property(info.props, PW_KEY_MEDIA_ROLE);
      mNode.name = Property(info.props, PW_KEY_NODE_NAME);
      mNode.nick = Property(info.props, PW_KEY_NODE_NICK);
      mNode.description = Property(info.props, PW_KEY_NODE_DESCRIPTION);
      mNode.objectPath = Property(info.props, PW_KEY_OBJECT_PATH);
      mNode.serial = Number(Property(info.props, PW_KEY_OBJECT_SERIAL));
   }

   void TakeParam(uint32_t id, const spa_pod *param) {
      if (id == SPA_PARAM_EnumFormat) {
         AppendFormats(param, &mNode.formats);
      }
   }

   pw_proxy *const mProxy;
   spa_hook mProxyHook{};
   spa_hook mNodeHook{};
   PipewireNode mNode;
   bool mHasInfo = false;
   bool mIsGone = false;
};

/// The value {"name":"NODE"} of a default, or nothing.
std::string NodeNameOf(const char *value) {
   char name[1024] = "";
   if (value == nullptr) {
      return "";
   }
   spa_json outer{};
   spa_json object{};
   spa_json_init(&outer, value, std::strlen(value));
   if (spa_json_enter_object(&outer, &object) <= 0) {
      return "";
   }
   char key[128];
   const char *text = nullptr;
   while (spa_json_get_string(&object, key, sizeof key) > 0) {
      if (std::strcmp(key, "name") == 0) {
         return spa_json_get_string(&object, name, sizeof name) > 0 ? name : "";
      }
      if (spa_json_next(&object, &text) <= 0) {
         break;
      }
   }
   return "";
}

/// The session manager's table of defaults while it comes in. Owner: Registry. Threads: the loop's.
class BoundDefaults {
public:
   explicit BoundDefaults(pw_proxy *proxy)
       : mProxy(proxy) {
      static constexpr pw_metadata_events metadataEvents = [] {
         pw_metadata_events events{};
         events.version = PW_VERSION_METADATA_EVENTS;
         events.property = [](void *data, uint32_t subject, const char *key, const char *, const char *value) {
            static_cast<BoundDefaults *>(data)->TakeProperty(subject, key, value);
            return 0;
         };
         return events;
      }();
      pw_proxy_add_object_listener(mProxy, &mHook, &metadataEvents, this);
   }
   ~BoundDefaults() {
      spa_hook_remove(&mHook);
      pw_proxy_destroy(mProxy);
   }
   BoundDefaults(const BoundDefaults &) = delete;
   BoundDefaults &operator=(const BoundDefaults &) = delete;

   [[nodiscard]] const std::string &Camera() const { return mCamera; }
   [[nodiscard]] const std::string &Microphone() const { return mMicrophone; }

private:
   void TakeProperty(uint32_t subject, const char *key, const char *value) {
      if (subject != PW_ID_CORE || key == nullptr) {
         return;
      }
      if (std::strcmp(key, "default.video.source") == 0) {
         mCamera = NodeNameOf(value);
      } else if (std::strcmp(key, "default.audio.source") == 0) {
         mMicrophone = NodeNameOf(value);
      }
   }

   pw_proxy *const mProxy;
   spa_hook mHook{};
   std::string mCamera;
   std::string mMicrophone;
};

/// The daemon's list of objects; binds the nodes of a kind as they are announced. Owner: ListPipewireNodes, on the
/// stack behind the connection. Threads: the loop's.
class Registry {
public:
   Registry(pw_core *core, PipewireNodeKind kind)
       : mKind(kind)
       , mRegistry(pw_core_get_registry(core, PW_VERSION_REGISTRY, 0)) {
      static constexpr pw_registry_events registryEvents = [] {
         pw_registry_events events{};
         events.version = PW_VERSION_REGISTRY_EVENTS;
         events.global = [](void *data, uint32_t id, uint32_t, const char *type, uint32_t, const spa_dict *properties) {
            static_cast<Registry *>(data)->TakeGlobal(id, type, properties);
         };
         return events;
      }();
      if (mRegistry != nullptr) {
         pw_registry_add_listener(mRegistry, &mRegistryHook, &registryEvents, this);
      }
   }

   ~Registry() {
      mNodes.clear();
      mDefaults.reset();
      if (mRegistry != nullptr) {
         spa_hook_remove(&mRegistryHook);
         pw_proxy_destroy(reinterpret_cast<pw_proxy *>(mRegistry));
      }
   }
   Registry(const Registry &) = delete;
   Registry &operator=(const Registry &) = delete;

   [[nodiscard]] bool HasSessionManager() const { return mHasDefaultMetadata; }
   [[nodiscard]] std::string DefaultCamera() const { return mDefaults != nullptr ? mDefaults->Camera() : ""; }
   [[nodiscard]] std::string DefaultMicrophone() const { return mDefaults != nullptr ? mDefaults->Microphone() : ""; }

   /// The capturable nodes, by serial. Once.
   [[nodiscard]] std::vector<PipewireNode> TakeNodes() {
      std::vector<PipewireNode> nodes;
      for (const auto &bound : mNodes) {
         if (bound->IsThere()) {
            nodes.push_back(bound->Take());
         }
      }
      std::erase_if(nodes, [](const PipewireNode &node) { return !IsCapturable(node); });
      SortBySerial(&nodes);
      return nodes;
   }

private:
   void TakeGlobal(uint32_t id, const char *type, const spa_dict *properties) {
      if (std::strcmp(type, PW_TYPE_INTERFACE_Metadata) == 0) {
         // The session manager keeps the defaults there.
         if (!mHasDefaultMetadata && Property(properties, PW_KEY_METADATA_NAME) == "default") {
            mHasDefaultMetadata = true;
            if (auto *const proxy = Bind(id, PW_TYPE_INTERFACE_Metadata, PW_VERSION_METADATA); proxy != nullptr) {
               mDefaults = std::make_unique<BoundDefaults>(proxy);
            }
         }
      } else if (std::strcmp(type, PW_TYPE_INTERFACE_Node) == 0) {
         BindIfWanted(id, Property(properties, PW_KEY_MEDIA_CLASS));
      }
   }

   pw_proxy *Bind(uint32_t id, const char *type, uint32_t version) {
      return static_cast<pw_proxy *>(pw_registry_bind(mRegistry, id, type, version, 0));
   }

   void BindIfWanted(uint32_t id, const std::string &mediaClass) {
      if (!IsOfKind(mediaClass, mKind)) {
         return;
      }
      auto *const proxy = Bind(id, PW_TYPE_INTERFACE_Node, PW_VERSION_NODE);
      if (proxy == nullptr) {
         return;
      }
      mNodes.push_back(std::make_unique<BoundNode>(proxy));
      if (IsOfKind(mediaClass, PipewireNodeKind::Camera)) {
         mNodes.back()->AskForFormats();
      }
   }

   const PipewireNodeKind mKind;
   pw_registry *const mRegistry;
   spa_hook mRegistryHook{};
   std::vector<std::unique_ptr<BoundNode>> mNodes;
   std::unique_ptr<BoundDefaults> mDefaults;
   bool mHasDefaultMetadata = false;
};

} // namespace

PipewireListing ListPipewireNodes(PipewireNodeKind kind, std::chrono::milliseconds wait) {
   const auto deadline = PipewireConnection::Clock::now() + wait;
   PipewireListing listing;
   PipewireConnection connection;
   listing.status = connection.Open();
   if (listing.status.ok()) {
      Registry registry(connection.Core(), kind);
      listing.status = connection.Roundtrip(deadline); // all objects; each wanted node is bound on the way
      if (listing.status.ok()) {
         listing.status = connection.Roundtrip(deadline); // the facts of what was bound
      }
      if (listing.status.ok()) {
         listing.hasSessionManager = registry.HasSessionManager();
         listing.defaultCamera = registry.DefaultCamera();
         listing.defaultMicrophone = registry.DefaultMicrophone();
         listing.nodes = registry.TakeNodes();
      }
   }
   listing.stage = connection.Stage();
   listing.socketPath = connection.SocketPath();
   return listing;
}

} // namespace osal
