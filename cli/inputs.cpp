#include "cli/inputs.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <utility>
#include <system_error>

namespace qel::cli {
namespace {

std::string errno_text(int code) { return std::generic_category().message(code); }

void walk(const std::string& dir, std::vector<Input>& out) {
  DIR* stream = opendir(dir.c_str());
  if (stream == nullptr) {
    out.push_back({dir, "cannot read directory: " + errno_text(errno)});
    return;
  }
  // The type comes with the listing on most file systems: no stat per file.
  std::vector<std::pair<std::string, unsigned char>> entries;
  errno = 0;
  while (const dirent* entry = readdir(stream)) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") entries.emplace_back(name, entry->d_type);
  }
  const int error = errno;
  closedir(stream);
  if (error != 0) out.push_back({dir, "cannot read directory: " + errno_text(error)});
  std::sort(entries.begin(), entries.end());
  const std::string prefix = dir.ends_with('/') ? dir : dir + "/";
  for (auto& [name, type] : entries) {
    std::string path = prefix + name;
    struct stat st;
    if (type == DT_UNKNOWN) {  // the listing did not say: ask
      if (lstat(path.c_str(), &st) != 0) continue;
      type = S_ISDIR(st.st_mode) ? DT_DIR : S_ISREG(st.st_mode) ? DT_REG : S_ISLNK(st.st_mode) ? DT_LNK : DT_UNKNOWN;
    }
    if (type == DT_DIR) {
      walk(path, out);
    } else if (type == DT_REG || (type == DT_LNK && stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode))) {
      out.push_back({std::move(path), std::nullopt});
    }
  }
}

constexpr size_t kHugePage = size_t{2} << 20;

}  // namespace

void BytesRelease::operator()(uint8_t* bytes) const {
  if (mapped > 0) munmap(bytes, mapped);
  else delete[] bytes;
}

Bytes allocate_bytes(size_t capacity) {
  if (capacity >= kHugePage) {
    // Huge pages need an address on their boundary: map a page more, and
    // give back what lies before and after the aligned part.
    const size_t length = (capacity + kHugePage - 1) & ~(kHugePage - 1);
    void* map = mmap(nullptr, length + kHugePage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (map != MAP_FAILED) {
      const auto start = reinterpret_cast<uintptr_t>(map);
      const uintptr_t aligned = (start + kHugePage - 1) & ~(uintptr_t{kHugePage} - 1);
      if (aligned > start) munmap(map, aligned - start);
      if (const size_t tail = start + kHugePage - aligned; tail > 0)
        munmap(reinterpret_cast<void*>(aligned + length), tail);
      madvise(reinterpret_cast<void*>(aligned), length, MADV_HUGEPAGE);  // a hint: small pages still work
      return Bytes(reinterpret_cast<uint8_t*>(aligned), BytesRelease{length});
    }
  }
  return Bytes(new uint8_t[capacity]);
}

std::vector<Input> expand_inputs(const std::vector<std::string>& args, bool recursive) {
  std::vector<Input> out;
  for (const std::string& arg : args) {
    // Without -r a directory is found when it is opened: no stat here.
    struct stat st;
    if (recursive && arg != "-" && stat(arg.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) walk(arg, out);
    else out.push_back({arg, std::nullopt});
  }
  return out;
}

int open_input(const std::string& path, size_t& size, std::string& error) {
  const int fd = path == "-" ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    error = "cannot open: " + errno_text(errno);
    return -1;
  }
  struct stat st;
  const bool known = fstat(fd, &st) == 0;
  if (known && S_ISDIR(st.st_mode)) {
    close(fd);
    error = "is a directory (use -r to read the files below it)";
    return -1;
  }
  size = known && S_ISREG(st.st_mode) && st.st_size > 0 ? static_cast<size_t>(st.st_size) : 0;
  return fd;
}

bool read_whole(int fd, size_t size, InputBytes& bytes, std::string& error) {
  // A regular file's read comes short only at its end, so one read takes a
  // file that has not grown since its size was asked.
  size_t capacity = size > 0 ? size + 1 : size_t{64} << 10;
  bytes.data = allocate_bytes(capacity);
  bytes.size = 0;
  for (;;) {
    if (bytes.size == capacity) {
      capacity *= 2;
      Bytes larger = allocate_bytes(capacity);
      std::memcpy(larger.get(), bytes.data.get(), bytes.size);
      bytes.data = std::move(larger);
    }
    const size_t want = capacity - bytes.size;
    const ssize_t n = read(fd, bytes.data.get() + bytes.size, want);
    if (n < 0) {
      if (errno == EINTR) continue;
      error = "cannot read: " + errno_text(errno);
      return false;
    }
    bytes.size += static_cast<size_t>(n);
    if (n == 0 || (size > 0 && static_cast<size_t>(n) < want)) return true;
  }
}

}  // namespace qel::cli
