// Work in chunks, on one or more threads, with a result that does not depend on how many there are.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <system_error>
#include <thread>
#include <vector>

namespace mirel::compare {

inline std::uint32_t thread_count(std::uint32_t wanted) {
  return std::clamp(wanted == 0 ? std::thread::hardware_concurrency() : wanted, 1U, 64U);
}

// Calls work(chunk) once for each chunk below `chunks`, in no particular order. `work` must not throw.
template <typename Work>
void for_each_chunk(std::uint64_t chunks, std::uint32_t threads, Work const& work) {
  std::atomic<std::uint64_t> next{0};
  auto const run = [&] {
    for (std::uint64_t chunk = next++; chunk < chunks; chunk = next++) work(chunk);
  };
  std::vector<std::thread> others;
  std::uint64_t const wanted = std::min<std::uint64_t>(thread_count(threads), chunks);
  others.reserve(wanted);
  try {
    while (others.size() + 1 < wanted) others.emplace_back(run);
  } catch (std::system_error const&) {
    // Fewer threads do the same work.
  }
  run();
  for (std::thread& other : others) other.join();
}

}  // namespace mirel::compare
