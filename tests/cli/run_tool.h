// Runs the built qeldumpcert in a child process and collects what it wrote.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <tuple>
#include <vector>

namespace qel_test {

// Standard output, standard error, exit status.
using Outcome = std::tuple<std::string, std::string, int>;

inline std::string drain(int fd) {
  std::string s;
  char buf[4096];
  for (ssize_t n; (n = read(fd, buf, sizeof buf)) > 0;) s.append(buf, static_cast<size_t>(n));
  close(fd);
  return s;
}

// Runs `tool` as "qeldumpcert" with `args` and TZ=UTC, as user nobody when
// asked.
inline Outcome run_tool(const std::string& tool, const std::vector<std::string>& args, bool as_nobody) {
  std::vector<char*> argv{const_cast<char*>("qeldumpcert")};
  for (const auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  int out[2], err[2];
  if (pipe(out) != 0 || pipe(err) != 0) return {"", "pipe failed", -1};
  if (fork() == 0) {
    dup2(out[1], 1);
    dup2(err[1], 2);
    for (int fd : {out[0], out[1], err[0], err[1]}) close(fd);
    setenv("TZ", "UTC", 1);
    if (as_nobody && (setgid(65534) != 0 || setuid(65534) != 0)) _exit(126);
    execv(tool.c_str(), argv.data());
    _exit(127);
  }
  close(out[1]);
  close(err[1]);
  std::string out_text = drain(out[0]), err_text = drain(err[0]);
  int status = 0;
  wait(&status);
  return {out_text, err_text, WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status)};
}

}  // namespace qel_test
