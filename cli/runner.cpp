// Workers claim objects in output order: first the unclaimed objects of
// files already split (lowest file first), then the next file, which the
// claiming worker reads and splits. Each object is rendered into its own
// string; whoever finishes the object the output is waiting for takes the
// write token and writes every finished object in order. An object whose
// text grows past kSpillSize waits for its turn, takes the token and writes
// straight out. Claims stop while the window of unwritten objects is full,
// except for the object the output waits for, so nothing waits forever.
#include "cli/runner.h"

#include <sched.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>

namespace qel::cli {
namespace {

constexpr size_t kWindowObjects = 1024;
constexpr size_t kWindowBytes = size_t{8} << 20;
constexpr size_t kWriteChunk = size_t{64} << 10;

struct Slot {
  std::string text;
  bool done = false;
};

struct FileState {
  InputBytes data;
  std::vector<Object> objects;
  std::vector<Slot> slots;
  size_t next_claim = 0;
  bool split = false;
};

class Runner {
 public:
  Runner(const std::vector<Input>& inputs, const RunOptions& options)
      : inputs_(inputs), options_(options), files_(inputs.size()) {}

  RunResult go();

 private:
  class StreamSink;
  void work();
  bool window_full() const { return outstanding_ >= kWindowObjects || buffered_ >= kWindowBytes; }
  void wait(std::unique_lock<std::mutex>& lock);
  void wake();
  void split(size_t f);
  void render(std::unique_lock<std::mutex>& lock, size_t f, size_t k);
  // With the token held: writes every finished object in order, then gives
  // the token back.
  void drain(std::unique_lock<std::mutex>& lock);
  void advance();  // past the object at the writer's position
  void write_out(const char* data, size_t size);
  void progress_line(std::chrono::steady_clock::time_point start, bool& shown);

  const std::vector<Input>& inputs_;
  const RunOptions& options_;

  std::mutex mutex_;
  std::condition_variable cv_;
  std::condition_variable done_;  // the last worker has left
  size_t waiters_ = 0;
  std::vector<FileState> files_;
  std::set<size_t> open_;  // split files with unclaimed objects
  size_t next_file_ = 0;
  size_t splitting_ = 0;
  size_t outstanding_ = 0;  // claimed and not written
  size_t buffered_ = 0;     // bytes of finished, unwritten objects
  size_t wfile_ = 0, wobj_ = 0;  // the object the output waits for
  bool writing_ = false;         // the write token
  std::string pending_;          // written text not yet handed to write()
  unsigned running_ = 0;

  std::atomic<uint64_t> objects_{0}, errors_{0};
  bool write_failed_ = false;
};

class Runner::StreamSink : public Sink {
 public:
  StreamSink(Runner& runner, size_t f, size_t k) : runner_(runner), f_(f), k_(k) {}
  void spill() override {
    if (!holding) {
      std::unique_lock<std::mutex> lock(runner_.mutex_);
      while (runner_.writing_ || runner_.wfile_ != f_ || runner_.wobj_ != k_) runner_.wait(lock);
      runner_.writing_ = true;
      holding = true;
      std::string before = std::move(runner_.pending_);
      runner_.pending_.clear();
      lock.unlock();
      runner_.write_out(before.data(), before.size());
    }
    runner_.write_out(text.data(), text.size());
    text.clear();
  }
  bool holding = false;

 private:
  Runner& runner_;
  size_t f_, k_;
};

void Runner::wait(std::unique_lock<std::mutex>& lock) {
  ++waiters_;
  cv_.wait(lock);
  --waiters_;
}

void Runner::wake() {
  if (waiters_ > 0) cv_.notify_all();
}

void Runner::write_out(const char* data, size_t size) {
  while (size > 0 && !write_failed_) {
    const ssize_t n = ::write(options_.out_fd, data, size);
    if (n < 0) {
      if (errno == EINTR) continue;
      write_failed_ = true;  // only the token holder writes
      return;
    }
    data += n;
    size -= static_cast<size_t>(n);
  }
}

void Runner::split(size_t f) {
  FileState& file = files_[f];
  const Input& input = inputs_[f];
  std::string error;
  if (input.failure) {
    error = *input.failure;
  } else if (read_input(input.path, file.data, error)) {
    file.objects = split_input(file.data.view());
    return;
  }
  Object& failed = file.objects.emplace_back();
  failed.failure = Failure{std::move(error), std::nullopt, std::nullopt};
}

void Runner::advance() {
  FileState& file = files_[wfile_];
  --outstanding_;
  if (++wobj_ < file.objects.size()) return;
  file = FileState{};  // release the file's bytes
  ++wfile_;
  wobj_ = 0;
}

void Runner::drain(std::unique_lock<std::mutex>& lock) {
  for (;;) {
    while (wfile_ < files_.size() && files_[wfile_].split && files_[wfile_].slots[wobj_].done) {
      Slot& slot = files_[wfile_].slots[wobj_];
      pending_.append(slot.text);
      buffered_ -= slot.text.size();
      std::string().swap(slot.text);
      advance();
    }
    const bool finished = wfile_ == files_.size();
    if (pending_.size() < kWriteChunk && !finished) break;
    std::string chunk = std::move(pending_);
    pending_.clear();
    wake();  // the window moved
    lock.unlock();
    write_out(chunk.data(), chunk.size());
    lock.lock();
    if (finished) break;
  }
  writing_ = false;
  wake();
}

void Runner::render(std::unique_lock<std::mutex>& lock, size_t f, size_t k) {
  lock.unlock();
  StreamSink sink(*this, f, k);
  const bool good = render_object(inputs_[f].path, files_[f].objects[k], options_.render, sink);
  objects_.fetch_add(1, std::memory_order_relaxed);
  if (!good) errors_.fetch_add(1, std::memory_order_relaxed);
  if (sink.holding) {
    // Its text has been leaving: the rest goes the same way, then the
    // objects behind it.
    write_out(sink.text.data(), sink.text.size());
    lock.lock();
    files_[f].slots[k].done = true;
    advance();
    drain(lock);
    return;
  }
  lock.lock();
  Slot& slot = files_[f].slots[k];
  buffered_ += sink.text.size();
  slot.text = std::move(sink.text);
  slot.done = true;
  if (!writing_ && f == wfile_ && k == wobj_) {
    writing_ = true;
    drain(lock);
  }
}

void Runner::work() {
  std::unique_lock<std::mutex> lock(mutex_);
  for (;;) {
    if (!open_.empty()) {
      const size_t f = *open_.begin();
      FileState& file = files_[f];
      const size_t k = file.next_claim;
      if (window_full() && !(f == wfile_ && k == wobj_)) {
        wait(lock);
        continue;
      }
      if (++file.next_claim == file.objects.size()) open_.erase(open_.begin());
      ++outstanding_;
      render(lock, f, k);
      continue;
    }
    if (next_file_ < files_.size()) {
      const size_t f = next_file_;
      if (window_full() && f != wfile_) {
        wait(lock);
        continue;
      }
      ++next_file_;
      ++splitting_;
      ++outstanding_;
      lock.unlock();
      split(f);
      lock.lock();
      --splitting_;
      FileState& file = files_[f];
      file.slots.resize(file.objects.size());
      file.next_claim = 1;
      if (file.objects.size() > 1) open_.insert(f);  // the others count once claimed
      file.split = true;
      wake();
      render(lock, f, 0);
      continue;
    }
    if (splitting_ == 0) break;
    wait(lock);  // a file being split may bring more objects
  }
  if (--running_ == 0) done_.notify_all();
}

void Runner::progress_line(std::chrono::steady_clock::time_point start, bool& shown) {
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  if (seconds <= 1.0) return;
  const uint64_t done = objects_.load(std::memory_order_relaxed);
  std::fprintf(stderr, "\r%llu objects, %.0f/s, %llu errors\033[K", static_cast<unsigned long long>(done),
               static_cast<double>(done) / seconds,
               static_cast<unsigned long long>(errors_.load(std::memory_order_relaxed)));
  std::fflush(stderr);
  shown = true;
}

RunResult Runner::go() {
  const auto start = std::chrono::steady_clock::now();
  const unsigned threads = options_.threads == 0 ? 1 : options_.threads;
  std::vector<std::thread> workers;
  running_ = threads;
  for (unsigned i = 0; i < threads; ++i) workers.emplace_back([this] { work(); });
  bool shown = false;
  {
    std::unique_lock<std::mutex> lock(mutex_);
    while (running_ > 0) {
      done_.wait_for(lock, std::chrono::milliseconds(250));
      if (options_.progress && running_ > 0) {
        lock.unlock();
        progress_line(start, shown);
        lock.lock();
      }
    }
  }
  for (std::thread& worker : workers) worker.join();
  write_out(pending_.data(), pending_.size());
  if (shown) {
    std::fputs("\r\033[K", stderr);
    std::fflush(stderr);
  }
  return RunResult{objects_.load(), errors_.load(), write_failed_};
}

}  // namespace

unsigned available_cpus() {
  cpu_set_t set;
  CPU_ZERO(&set);
  if (sched_getaffinity(0, sizeof set, &set) == 0) {
    const int count = CPU_COUNT(&set);
    if (count > 0) return static_cast<unsigned>(count);
  }
  const unsigned hardware = std::thread::hardware_concurrency();
  return hardware > 0 ? hardware : 1;
}

RunResult run(const std::vector<Input>& inputs, const RunOptions& options) {
  Runner runner(inputs, options);
  return runner.go();
}

}  // namespace qel::cli
