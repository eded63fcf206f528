#pragma once

#include <cstdint>
#include <string>

namespace mavr::redirect {

/// The two processes of a redirection, which 'mavr redirect' starts: each inherits one end of a socket, says how it
/// goes on its standard output, a JSON document a line, and gives up when its standard input ends. What a user must
/// hear goes to standard error as from any command, and is a ToolError here.

struct SideOptions {
   int socket = -1; ///< of the local host, inherited
   double seconds = 5;
   double lossPercent = 0;
   bool isVideoReliable = false;
   std::string out; ///< folder for the report, which is there
};

/// Captures from the preferred devices and sends until the time is over, then tells the agent what was sent. The exit
/// status: 0, or kOtherSideEnded.
int RunClient(const SideOptions &options);

/// Receives, checks, and writes report.html, report.json, pictures.png and sound.wav. The exit status: 0, or
/// kOtherSideEnded when the client ended before its time; the report is written all the same.
int RunAgent(const SideOptions &options);

inline constexpr int kOtherSideEnded = 3;

/// Largest datagram of every channel, header included: a picture of 640x480 goes in 8.
inline constexpr uint32_t kLargestDatagram = 61440;

} // namespace mavr::redirect
