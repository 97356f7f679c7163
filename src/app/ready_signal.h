#pragma once
// Start-up measurement: when the environment names a file descriptor in NQ_READY_FD, the first
// window to finish painting writes one line "ready" to it. The start-up benchmark holds the
// other end of that pipe, so it times the real first picture rather than a guess.

namespace nq::app {

// Writes the line at most once per process; does nothing without NQ_READY_FD.
void notifyReadyOnce();

}  // namespace nq::app
