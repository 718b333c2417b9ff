#include "Quorb/LargeMappings.h"

#include <sys/mman.h>

#include <cstdint>

namespace quorb {
namespace {

constexpr std::size_t kHugePage = std::size_t{2} << 20;

std::size_t RoundUp(std::size_t bytes, std::size_t unit) {
  return (bytes + unit - 1) / unit * unit;
}

std::size_t MappedBytes(std::size_t bytes) {
  const std::size_t unit = bytes >= kHugePage ? kHugePage : static_cast<std::size_t>(4096);
  return RoundUp(bytes, unit);
}

void* MapAnonymous(std::size_t bytes) {
  void* mapping =
      ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  return mapping == MAP_FAILED ? nullptr : mapping;
}

}  // namespace

void* MapLarge(std::size_t bytes) {
  const std::size_t size = MappedBytes(bytes);
  if (size < kHugePage) return MapAnonymous(size);
  // Map one huge page more than needed and trim both ends to the alignment.
  auto* raw = static_cast<char*>(MapAnonymous(size + kHugePage));
  if (raw == nullptr) return nullptr;
  const auto address = reinterpret_cast<std::uintptr_t>(raw);
  const std::size_t head = RoundUp(address, kHugePage) - address;
  if (head > 0) ::munmap(raw, head);
  if (kHugePage - head > 0) ::munmap(raw + head + size, kHugePage - head);
  char* aligned = raw + head;
  // Only advice: where huge pages are off, the mapping works as it is.
  ::madvise(aligned, size, MADV_HUGEPAGE);
  return aligned;
}

void UnmapLarge(void* mapping, std::size_t bytes) {
  if (mapping != nullptr) ::munmap(mapping, MappedBytes(bytes));
}

void PrefaultForWriting(void* start, std::size_t bytes) {
#if defined(MADV_POPULATE_WRITE)
  constexpr std::uintptr_t kPage = 4096;
  const auto first = reinterpret_cast<std::uintptr_t>(start) / kPage * kPage;
  const std::uintptr_t end = reinterpret_cast<std::uintptr_t>(start) + bytes;
  ::madvise(reinterpret_cast<void*>(first), end - first, MADV_POPULATE_WRITE);
#else
  (void)start, (void)bytes;
#endif
}

}  // namespace quorb
