// A log line, flushed: the runtime's log against spdlog flushing every line.

#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include <filesystem>

#include "benchmarks/Measure.h"
#include "runtime/Code/ZRLog.h"

namespace {

// Many short rounds, so that the best one of each is a round that nothing interrupted.
constexpr int kLines = 2'000;
constexpr int kRounds = 300;

void writeOurs() {
  for (int i = 0; i < kLines; ++i) {
    zrrt::log(ZRLogLevel::eInformation, "Endpoint successfully installed to %s (%d)", "/Applications/Vantora",
              i);
  }
}

void writeTheirs(spdlog::logger& logger) {
  for (int i = 0; i < kLines; ++i) {
    logger.info("Endpoint successfully installed to {} ({})", "/Applications/Vantora", i);
  }
}

}  // namespace

int main() {
  const auto folder =
      std::filesystem::temp_directory_path() / ("vantora-log-benchmark-" + std::to_string(getpid()));
  std::filesystem::create_directories(folder);
  if (zrrt::startLog(ZRString((folder / "ours.log").string()), true).isFailure()) return 1;

  auto peer = spdlog::basic_logger_mt("peer", (folder / "peer.log").string(), true);
  peer->flush_on(spdlog::level::trace);

  const auto best = benchmark::compare(kRounds, writeOurs, [&peer] { writeTheirs(*peer); });
  benchmark::print("log line, flushed", "spdlog, flushing every line", best, benchmark::Meaning::speed, 1.05);

  zrrt::stopLog();
  std::filesystem::remove_all(folder);
}
