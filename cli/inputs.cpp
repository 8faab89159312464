#include "cli/inputs.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

namespace qel::cli {
namespace {

std::string errno_text(int code) { return std::generic_category().message(code); }

void walk(const std::string& dir, std::vector<Input>& out) {
  std::error_code ec;
  std::filesystem::directory_iterator it(dir, ec);
  if (ec) {
    out.push_back({dir, "cannot read directory: " + ec.message()});
    return;
  }
  std::vector<std::string> names;
  for (; it != std::filesystem::directory_iterator(); it.increment(ec)) {
    if (ec) break;
    names.push_back(it->path().filename().string());
  }
  if (ec) out.push_back({dir, "cannot read directory: " + ec.message()});
  std::sort(names.begin(), names.end());
  const std::string prefix = dir.ends_with('/') ? dir : dir + "/";
  for (const std::string& name : names) {
    const std::string path = prefix + name;
    struct stat st;
    if (lstat(path.c_str(), &st) != 0) continue;  // gone since the listing
    if (S_ISDIR(st.st_mode)) {
      walk(path, out);
    } else if (S_ISREG(st.st_mode)) {
      out.push_back({path, std::nullopt});
    } else if (S_ISLNK(st.st_mode) && stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode)) {
      out.push_back({path, std::nullopt});
    }
  }
}

}  // namespace

std::vector<Input> expand_inputs(const std::vector<std::string>& args, bool recursive) {
  std::vector<Input> out;
  for (const std::string& arg : args) {
    struct stat st;
    if (arg != "-" && stat(arg.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) {
      if (recursive) walk(arg, out);
      else out.push_back({arg, "is a directory (use -r to read the files below it)"});
    } else {
      out.push_back({arg, std::nullopt});
    }
  }
  return out;
}

bool read_input(const std::string& path, InputBytes& bytes, std::string& error) {
  const bool standard = path == "-";
  const int fd = standard ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    error = "cannot open: " + errno_text(errno);
    return false;
  }
  struct stat st;
  size_t expected = 0;  // the size of a regular file: one read more only to see its end
  if (fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && st.st_size > 0) expected = static_cast<size_t>(st.st_size);
  size_t capacity = expected > 0 ? expected + 1 : size_t{64} << 10;
  bytes.data.reset(new uint8_t[capacity]);
  bytes.size = 0;
  bool ok = true;
  for (;;) {
    if (bytes.size == capacity) {
      capacity *= 2;
      std::unique_ptr<uint8_t[]> larger(new uint8_t[capacity]);
      std::memcpy(larger.get(), bytes.data.get(), bytes.size);
      bytes.data = std::move(larger);
    }
    const ssize_t n = read(fd, bytes.data.get() + bytes.size, capacity - bytes.size);
    if (n < 0) {
      if (errno == EINTR) continue;
      error = "cannot read: " + errno_text(errno);
      ok = false;
      break;
    }
    if (n == 0) break;
    bytes.size += static_cast<size_t>(n);
  }
  if (!standard) close(fd);
  return ok;
}

}  // namespace qel::cli
