// The whole job between two processes, `mavr redirect` on a simulated 720p camera and a microphone: what both processes
// cost together, and how long a picture takes from its capture to its arrival whole. Beside it, pictures of the same
// size at the same rate over a bare socket pair and over ZeroMQ, which neither capture, scale, check nor measure.

#include "bench/Harness.h"

#include "pcoip_host/local/LocalSocket.h"
#include "tests/kit/TempDir.h"

#include <nlohmann/json.hpp>
#include <zmq.h>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr size_t kFrameSize = size_t{640} * 480 * 3 / 2;
constexpr int kFrameRate = 30;
constexpr int kFrames = 60;
constexpr auto kPeriod = std::chrono::nanoseconds(1'000'000'000 / kFrameRate);
constexpr double kSeconds = 2;
constexpr const char *kCamera = R"({"cameras": [{"name": "Camera", "uniqueId": "1", "pattern": "counter",
   "formats": [{"width": 1280, "height": 720, "maxFrameRate": 30}]}], "microphones": [{"name": "M", "uniqueId": "2"}]})";

void Expect(bool isTrue, const char *what) {
   if (!isTrue) {
      std::fprintf(stderr, "bench_redirect: %s\n", what);
      std::exit(1);
   }
}

/// What one run came to.
struct Outcome {
   double cpuPercent = 0; ///< of one core, both processes
   double latencyMs = 0;  ///< median, from capture or sending to arrival
};

double CpuSeconds(int who) {
   rusage usage{};
   getrusage(who, &usage);
   const auto seconds = [](const timeval &time) {
      return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
   };
   return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// ---- Ours -----------------------------------------------------------------------------------------------------------

Outcome Redirect(const kit::TempDir &folder) {
   const std::string command = "MAVR_OSAL=simulated MAVR_SIMULATION='" + (folder / "camera.json") +
                               "' XDG_CONFIG_HOME='" + folder.Path() + "' XDG_STATE_HOME='" + folder.Path() + "' '" +
                               MAVR_TOOL + "' redirect --json --seconds " + std::to_string(kSeconds) + " --out '" +
                               (folder / "report") + "'";
   FILE *const output = popen(command.c_str(), "r");
   Expect(output != nullptr, "no shell");
   std::string text;
   char bytes[4096];
   for (size_t got = 0; (got = std::fread(bytes, 1, sizeof bytes, output)) > 0;) {
      text.append(bytes, got);
   }
   Expect(pclose(output) == 0, "mavr redirect failed");
   const auto report = nlohmann::json::parse(text);
   Expect(report.at("video").at("framesLost") == 0, "frames were lost");
   return {report.at("cpu").at("bothPercent"), report.at("video").at("captureToArrivalMs").at("median")};
}

// ---- Transports alone -----------------------------------------------------------------------------------------------

/// How a frame crosses: each function is called in its own process, and gives what sends or receives one frame.
struct Transport {
   std::function<std::function<void(const uint8_t *)>()> sender;
   std::function<std::function<void(uint8_t *)>()> receiver;
};

// A frame begins with the moment of its sending.
void SendFrames(const std::function<void(const uint8_t *)> &send) {
   std::vector<uint8_t> frame(kFrameSize, 1);
   Clock::time_point next = Clock::now();
   for (int i = 0; i < kFrames; ++i) {
      std::this_thread::sleep_until(next);
      next += kPeriod;
      const Clock::time_point now = Clock::now();
      std::memcpy(frame.data(), &now, sizeof now);
      send(frame.data());
   }
}

Outcome Measure(const Transport &transport) {
   const double usedByChildren = CpuSeconds(RUSAGE_CHILDREN);
   const pid_t child = fork();
   Expect(child >= 0, "no process");
   if (child == 0) {
      SendFrames(transport.sender());
      _exit(0);
   }
   const std::function<void(uint8_t *)> receive = transport.receiver();
   std::vector<uint8_t> frame(kFrameSize);
   std::vector<double> latencies;
   const double used = CpuSeconds(RUSAGE_SELF);
   const Clock::time_point start = Clock::now();
   for (int i = 0; i < kFrames; ++i) {
      receive(frame.data());
      Clock::time_point sent;
      std::memcpy(&sent, frame.data(), sizeof sent);
      latencies.push_back(std::chrono::duration<double, std::milli>(Clock::now() - sent).count());
   }
   const double wall = std::chrono::duration<double>(Clock::now() - start).count();
   const double own = CpuSeconds(RUSAGE_SELF) - used;
   waitpid(child, nullptr, 0);
   const double others = CpuSeconds(RUSAGE_CHILDREN) - usedByChildren;
   return {100 * (own + others) / wall, bench::Median(latencies)};
}

Outcome BareSocket() {
   auto pair = pcoip_host::MakeSocketPair();
   Expect(pair.has_value(), "no sockets");
   const int sender = pair->first.Get();
   const int receiver = pair->second.Get();
   return Measure({[sender] {
                      return [sender](const uint8_t *frame) {
                         for (size_t sent = 0; sent < kFrameSize;) {
                            const ssize_t went = write(sender, frame + sent, kFrameSize - sent);
                            Expect(went > 0, "a write failed");
                            sent += static_cast<size_t>(went);
                         }
                      };
                   },
                   [receiver] {
                      return [receiver](uint8_t *frame) {
                         for (size_t got = 0; got < kFrameSize;) {
                            const ssize_t came = read(receiver, frame + got, kFrameSize - got);
                            Expect(came > 0, "a read failed");
                            got += static_cast<size_t>(came);
                         }
                      };
                   }});
}

// Made in the process that uses it, for its threads do not survive a fork.
class ZeroMq {
public:
   ZeroMq(int type, const std::string &address)
       : mContext(zmq_ctx_new())
       , mSocket(zmq_socket(mContext, type)) {
      const int result = type == ZMQ_PULL ? zmq_bind(mSocket, address.c_str()) : zmq_connect(mSocket, address.c_str());
      Expect(result == 0, "ZeroMQ has no way");
   }
   ~ZeroMq() {
      zmq_close(mSocket);
      zmq_ctx_term(mContext);
   }
   ZeroMq(const ZeroMq &) = delete;
   ZeroMq &operator=(const ZeroMq &) = delete;

   void Send(const uint8_t *frame) {
      Expect(zmq_send(mSocket, frame, kFrameSize, 0) == static_cast<int>(kFrameSize), "ZeroMQ does not send");
   }
   void Receive(uint8_t *frame) {
      Expect(zmq_recv(mSocket, frame, kFrameSize, 0) == static_cast<int>(kFrameSize), "ZeroMQ does not receive");
   }

private:
   void *const mContext;
   void *const mSocket;
};

Outcome ZeroMqIpc(const kit::TempDir &folder) {
   const std::string address = "ipc://" + (folder / "zmq");
   return Measure({[address] {
                      return [socket = std::make_shared<ZeroMq>(ZMQ_PUSH, address)](const uint8_t *frame) {
                         socket->Send(frame);
                      };
                   },
                   [address] {
                      return [socket = std::make_shared<ZeroMq>(ZMQ_PULL, address)](uint8_t *frame) {
                         socket->Receive(frame);
                      };
                   }});
}

} // namespace

int main(int argc, char **argv) {
   bench::Report report(argc, argv);
   const kit::TempDir folder;
   kit::WriteFile(folder / "camera.json", kCamera);
   const std::function<Outcome()> ours = [&] {
      return Redirect(folder);
   };
   const std::function<Outcome()> bare = BareSocket;
   const std::function<Outcome()> zeroMq = [&] {
      return ZeroMqIpc(folder);
   };
   const auto row = [&](const char *name, const char *unit, double Outcome::*value) {
      const auto sampler = [value](const std::function<Outcome()> &run) {
         return [value, run] {
            return run().*value;
         };
      };
      report.Run({.name = name,
                  .unit = unit,
                  .ours = sampler(ours),
                  .limit = bench::Case{"bare socket, transport alone", sampler(bare)},
                  .peers = {{"ZeroMQ ipc, transport alone", sampler(zeroMq)}},
                  .rounds = 3});
   };
   row("redirect.cpu", "%", &Outcome::cpuPercent);
   row("redirect.latency", "ms", &Outcome::latencyMs);
   return report.Finish();
}
