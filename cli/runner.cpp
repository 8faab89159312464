// Workers claim objects in output order: first the unclaimed objects of
// files already (partly) cut into objects, lowest file first, then the next
// file, which the claiming worker reads and cuts. A large PEM file is read a
// piece at a time: the next piece is read, by one worker, while the others
// still have blocks of the last one to render, and a piece goes back to the
// pool once its blocks are written. A worker claims a few consecutive
// objects of a file at once and renders them into one string; whoever
// finishes the object the output waits for takes the write token and writes
// every finished text in order. An object whose text grows past kSpillSize
// waits for its turn, takes the token and writes straight out. Claims stop
// while the window of unwritten objects is full, except for the object the
// output waits for, so nothing waits forever.
#include "cli/runner.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <system_error>
#include <set>
#include <string>
#include <thread>

#include "toolkit/pem.h"

namespace qel::cli {
namespace {

constexpr size_t kWindowObjects = 1024;
constexpr size_t kWindowBytes = size_t{8} << 20;
constexpr size_t kWriteChunk = size_t{64} << 10;
// Regular files above this are read in pieces when their first piece holds
// a BEGIN line (the others are read whole, and the whole text decides): each
// piece holds this much with what it carries over from the one before, small
// enough to be still in the cache when its blocks are rendered.
constexpr size_t kPiece = size_t{512} << 10;
constexpr size_t kLongBlock = size_t{1} << 20;  // carried over at most this much, else the rest is read
constexpr size_t kReadAhead = 256;  // objects left when the next piece is read
// A worker takes up to this many objects of a file at once, as long as
// their input stays within kBatchBytes, and writes their lines into one
// text: fewer turns of the lock, fewer texts to make and hand over.
constexpr size_t kBatchObjects = 16;
constexpr size_t kBatchBytes = size_t{64} << 10;

// Buffers for pieces, kept for the next piece: a fresh page costs a fault
// when it is first written, and a kept buffer costs none. They are cut from
// regions in huge pages; a piece larger than kPiece has a buffer of its own.
class PiecePool {
 public:
  std::shared_ptr<uint8_t[]> take(size_t capacity) {
    if (capacity > kPiece) {
      Bytes bytes = allocate_bytes(capacity);
      const BytesRelease release = bytes.get_deleter();
      return std::shared_ptr<uint8_t[]>(bytes.release(), release);
    }
    std::lock_guard<std::mutex> guard(mutex_);
    if (free_.empty()) {
      regions_.push_back(allocate_bytes(kRegion));
      for (size_t at = 0; at + kPiece <= kRegion; at += kPiece) free_.push_back(regions_.back().get() + at);
    }
    uint8_t* buffer = free_.back();
    free_.pop_back();
    return std::shared_ptr<uint8_t[]>(buffer, [this](uint8_t* kept) {
      std::lock_guard<std::mutex> guard(mutex_);
      free_.push_back(kept);
    });
  }

 private:
  static constexpr size_t kRegion = size_t{2} << 20;
  std::mutex mutex_;
  std::vector<Bytes> regions_;
  std::vector<uint8_t*> free_;
};

struct Slot {
  std::string text;
  bool done = false;
};

// Deques: objects are added while others are being rendered, and an
// object's address must not change.
struct FileState {
  InputBytes data;
  std::deque<Object> objects;
  std::deque<Slot> slots;
  size_t next_claim = 0;
  bool cut = false;  // every object is there
  // A large PEM file, read a piece at a time by one worker at a time. Each
  // piece begins with the end of the one before, from where the cutter
  // still needs it; the objects of a piece hold it until they are written.
  int fd = -1;
  size_t size = 0, read = 0;  // the size of the file, the octets read
  PemCutter cutter;
  std::shared_ptr<uint8_t[]> piece;
  size_t piece_size = 0;
  std::vector<Object> batch;  // the objects of a piece, kept for its room
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
  size_t unclaimed(size_t f) const { return files_[f]->objects.size() - files_[f]->next_claim; }
  void wait(std::unique_lock<std::mutex>& lock);
  void wake();
  void cut(std::unique_lock<std::mutex>& lock, size_t f);
  bool read_piece(std::unique_lock<std::mutex>& lock, size_t f);
  void publish(std::unique_lock<std::mutex>& lock, size_t f, std::vector<Object>& batch, bool last);
  void render(std::unique_lock<std::mutex>& lock, size_t f, size_t k, size_t count);
  // With the token held: writes every finished object in order, then gives
  // the token back.
  void drain(std::unique_lock<std::mutex>& lock);
  void advance();  // past the object at the writer's position
  void settle();   // past files whose objects are all written
  void write_out(const char* data, size_t size);
  void write_pending();  // with the token
  void progress_line(std::chrono::steady_clock::time_point start, bool& shown);

  const std::vector<Input>& inputs_;
  const RunOptions& options_;
  PiecePool pieces_;  // outlives the files, whose objects hold pieces

  std::mutex mutex_;
  std::condition_variable cv_;
  std::condition_variable done_;  // the last worker has left
  size_t waiters_ = 0;
  // Made when a file's turn to be cut comes, released once it is written:
  // the deques allocate as they are made.
  std::vector<std::unique_ptr<FileState>> files_;
  std::set<size_t> open_;  // files with unclaimed objects
  std::set<size_t> streaming_;  // files with pieces to read that no one is reading
  size_t next_file_ = 0;
  size_t cutting_ = 0;      // files being read and cut
  size_t outstanding_ = 0;  // claimed and not written
  size_t buffered_ = 0;     // bytes of finished, unwritten objects
  size_t wfile_ = 0, wobj_ = 0;  // the object the output waits for
  bool writing_ = false;         // the write token
  // Finished texts not yet written, and their size; the token holder's.
  std::vector<std::string> pending_;
  size_t pending_bytes_ = 0;
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
      lock.unlock();
      runner_.write_pending();  // the token holder's alone
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

void Runner::write_pending() {
  std::array<iovec, 64> parts;
  for (size_t next = 0; next < pending_.size() && !write_failed_;) {
    size_t count = 0;
    for (; count < parts.size() && next + count < pending_.size(); ++count)
      parts[count] = {pending_[next + count].data(), pending_[next + count].size()};
    ssize_t n = ::writev(options_.out_fd, parts.data(), static_cast<int>(count));
    if (n < 0) {
      if (errno == EINTR) continue;
      write_failed_ = true;
      break;
    }
    // Whole texts written; the rest of one written in part goes by write().
    for (; count > 0 && static_cast<size_t>(n) >= pending_[next].size(); --count) n -= static_cast<ssize_t>(pending_[next++].size());
    if (n > 0) {
      write_out(pending_[next].data() + n, pending_[next].size() - static_cast<size_t>(n));
      ++next;
    }
  }
  pending_.clear();
  pending_bytes_ = 0;
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

void Runner::publish(std::unique_lock<std::mutex>& lock, size_t f, std::vector<Object>& batch, bool last) {
  lock.lock();
  FileState& file = *files_[f];
  for (Object& object : batch) {
    file.objects.push_back(std::move(object));
    file.slots.emplace_back();
  }
  batch.clear();
  if (file.next_claim < file.objects.size()) open_.insert(f);
  if (!last) streaming_.insert(f);
  if (last) {
    file.cut = true;
    --cutting_;
    // The output may have been waiting for the end of this file.
    if (!writing_ && wfile_ == f) {
      writing_ = true;
      drain(lock);
    }
  }
  wake();
  lock.unlock();
}

// Reads the next piece of a large regular file and hands out the blocks it
// completes. The first piece decides: false, with nothing handed out, when
// it is not PEM.
bool Runner::read_piece(std::unique_lock<std::mutex>& lock, size_t f) {
  FileState& file = *files_[f];  // its reading state is this worker's alone
  const bool first = file.read == 0;
  const size_t keep = first ? 0 : file.cutter.keep();
  const size_t carry = file.piece_size - keep;
  // A block longer than kLongBlock takes the rest of the file at once, so
  // that no long text is carried over again and again.
  const size_t capacity = first || carry <= kPiece / 2 ? kPiece
                          : carry <= kLongBlock   ? carry + kPiece
                                                  : carry + (file.size - file.read);
  std::shared_ptr<uint8_t[]> piece = pieces_.take(capacity);
  if (carry > 0) {
    std::memcpy(piece.get(), file.piece.get() + keep, carry);
    file.cutter.rebase({file.piece.get(), file.piece_size});
  }
  size_t filled = carry;
  bool complete = false;  // a read error ends the text too
  while (!complete && filled < capacity) {
    const ssize_t n = read(file.fd, piece.get() + filled, capacity - filled);
    if (n < 0 && errno == EINTR) continue;
    if (n > 0) filled += static_cast<size_t>(n), file.read += static_cast<size_t>(n);
    complete = n <= 0 || file.read >= file.size;
  }
  file.piece = piece;
  file.piece_size = filled;
  const std::span<const uint8_t> text(piece.get(), filled);
  if (first && !looks_like_pem(std::string_view(reinterpret_cast<const char*>(text.data()), text.size())))
    return false;
  std::vector<Object>& batch = file.batch;
  file.cutter.feed(text, complete, batch);
  for (Object& object : batch) object.hold = piece;
  if (complete) {
    if (file.cutter.objects() == 0) batch.emplace_back().failure = Failure{kNoBlock, std::nullopt, std::nullopt};
    close(file.fd);
    file.fd = -1;
    file.piece.reset();
  }
  publish(lock, f, batch, complete);
  return true;
}

void Runner::cut(std::unique_lock<std::mutex>& lock, size_t f) {
  FileState& file = *files_[f];
  const Input& input = inputs_[f];
  std::vector<Object> objects;
  std::string error = input.failure.value_or("");
  size_t size = 0;
  const int fd = input.failure ? -1 : open_input(input.path, size, error);
  if (fd >= 0 && size > kPiece) {
    file.fd = fd;
    file.size = size;
    if (read_piece(lock, f)) return;  // PEM: its pieces come one by one
    file.piece.reset();  // not PEM: read whole, from its start
    file.fd = -1;
    if (lseek(fd, 0, SEEK_SET) != 0) error = "cannot read: " + std::generic_category().message(errno);
  }
  if (fd >= 0) {
    // Small files, standard input, and large files that are not PEM.
    const bool whole = error.empty() && read_whole(fd, size, file.data, error);
    if (fd != STDIN_FILENO) close(fd);
    if (whole) objects = split_input(file.data.view());
  }
  if (objects.empty()) objects.emplace_back().failure = Failure{std::move(error), std::nullopt, std::nullopt};
  publish(lock, f, objects, true);
}

void Runner::settle() {
  while (wfile_ < files_.size() && files_[wfile_] && files_[wfile_]->cut && wobj_ == files_[wfile_]->objects.size()) {
    files_[wfile_].reset();  // release the file's bytes
    ++wfile_;
    wobj_ = 0;
  }
}

void Runner::advance() {
  files_[wfile_]->objects[wobj_].hold.reset();  // its piece may go
  --outstanding_;
  ++wobj_;
  settle();
}

void Runner::drain(std::unique_lock<std::mutex>& lock) {
  for (;;) {
    settle();
    while (wfile_ < files_.size() && files_[wfile_] && wobj_ < files_[wfile_]->slots.size() &&
           files_[wfile_]->slots[wobj_].done) {
      Slot& slot = files_[wfile_]->slots[wobj_];
      if (!slot.text.empty()) {  // handed over, not copied
        buffered_ -= slot.text.size();
        pending_bytes_ += slot.text.size();
        pending_.push_back(std::move(slot.text));
      }
      advance();
    }
    const bool finished = wfile_ == files_.size();
    if (pending_bytes_ < kWriteChunk && !finished) break;
    wake();  // the window moved
    lock.unlock();
    write_pending();  // only the token holder touches pending_
    lock.lock();
    if (finished) break;
  }
  writing_ = false;
  wake();
}

void Runner::render(std::unique_lock<std::mutex>& lock, size_t f, size_t k, size_t count) {
  std::array<const Object*, kBatchObjects> objects;
  size_t bytes = 0;
  for (size_t i = 0; i < count; ++i) {
    objects[i] = &files_[f]->objects[k + i];  // the deque may grow once the lock is let go
    bytes += objects[i]->der.size();
  }
  lock.unlock();
  StreamSink sink(*this, f, k);
  sink.text.reserve(bytes + 2048);  // most lines fit: one allocation
  uint64_t errors = 0;
  for (size_t i = 0; i < count; ++i)
    if (!render_object(inputs_[f].path, *objects[i], options_.render, sink)) ++errors;
  objects_.fetch_add(count, std::memory_order_relaxed);
  if (errors != 0) errors_.fetch_add(errors, std::memory_order_relaxed);
  if (sink.holding) {
    // Its text has been leaving: the rest goes the same way, then the
    // objects behind it.
    write_out(sink.text.data(), sink.text.size());
    lock.lock();
    for (size_t i = 0; i < count; ++i) {
      files_[f]->slots[k + i].done = true;
      advance();
    }
    drain(lock);
    return;
  }
  lock.lock();
  Slot& slot = files_[f]->slots[k];
  buffered_ += sink.text.size();
  slot.text = std::move(sink.text);
  for (size_t i = 0; i < count; ++i) files_[f]->slots[k + i].done = true;  // the text is all in the first
  if (!writing_ && f == wfile_ && k == wobj_) {
    writing_ = true;
    drain(lock);
  }
}

void Runner::work() {
  std::unique_lock<std::mutex> lock(mutex_);
  for (;;) {
    // Objects of a file before the next piece of a later one, and the next
    // piece of a file while the other workers still have its objects to take.
    const size_t streaming = streaming_.empty() ? SIZE_MAX : *streaming_.begin();
    const size_t first_open = open_.empty() ? SIZE_MAX : *open_.begin();
    const bool read_next = streaming != SIZE_MAX && !(window_full() && streaming != wfile_) &&
                           (first_open > streaming || (first_open == streaming && unclaimed(streaming) < kReadAhead));
    if (read_next) {
      streaming_.erase(streaming_.begin());
      lock.unlock();
      read_piece(lock, streaming);  // publishes, and leaves the lock unlocked
      lock.lock();
      continue;
    }
    if (first_open != SIZE_MAX) {
      const size_t f = first_open;
      FileState& file = *files_[f];
      const size_t k = file.next_claim;
      if (window_full() && !(f == wfile_ && k == wobj_)) {
        wait(lock);
        continue;
      }
      // A batch, shared out evenly when few objects are left.
      const size_t most = std::min(kBatchObjects, std::max<size_t>(1, unclaimed(f) / (2 * running_)));
      size_t count = 1;
      for (size_t bytes = file.objects[k].der.size();
           count < most && (bytes += file.objects[k + count].der.size()) <= kBatchBytes;)
        ++count;
      file.next_claim += count;
      if (file.next_claim == file.objects.size()) open_.erase(open_.begin());
      outstanding_ += count;
      render(lock, f, k, count);
      continue;
    }
    if (streaming != SIZE_MAX) {  // the window is full
      wait(lock);
      continue;
    }
    if (next_file_ < files_.size()) {
      const size_t f = next_file_;
      if (window_full() && f != wfile_) {
        wait(lock);
        continue;
      }
      ++next_file_;
      ++cutting_;
      files_[f] = std::make_unique<FileState>();
      lock.unlock();
      cut(lock, f);  // publishes, and leaves the lock unlocked
      lock.lock();
      continue;
    }
    if (cutting_ == 0) break;
    wait(lock);  // a file being cut may bring more objects
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
  write_pending();
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
