#include "host/local/checkpoint_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <xxhash.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <cerrno>
#include <cstring>
#include <map>
#include <nlohmann/json.hpp>

#include "host/local/descriptor.h"
#include "host/local/part_file.h"

namespace host::local {

namespace {

using nlohmann::json;

constexpr std::int64_t pageBytes = 4096;        // of direct writing
constexpr std::int64_t pieceBytes = 4 << 20;    // written at once
constexpr std::int64_t mostTrailer = 64 << 20;  // a text of some kilobytes
constexpr int formatVersion = 1;

/// What the first page begins with. The file is for this machine, so values stand as they do in memory.
struct Head {
  std::array<char, 24> magic{"KORVANE checkpoint"};
  std::int64_t version = formatVersion;
  std::int64_t trailerByte = 0, trailerBytes = 0;
  std::uint64_t trailerHash = 0;
};

std::uint64_t hashOf(const std::string& text) { return XXH3_64bits(text.data(), text.size()); }

std::int64_t wholePages(std::int64_t bytes) { return (bytes + pageBytes - 1) / pageBytes * pageBytes; }

/// XXH3 of pieces.
class Hash {
 public:
  Hash() : state_(XXH3_createState()) { XXH3_64bits_reset(state_); }
  ~Hash() { XXH3_freeState(state_); }
  Hash(const Hash&) = delete;
  Hash& operator=(const Hash&) = delete;
  void add(const void* data, std::int64_t bytes) { XXH3_64bits_update(state_, data, static_cast<std::size_t>(bytes)); }
  std::uint64_t value() const { return XXH3_64bits_digest(state_); }

 private:
  XXH3_state_t* state_;
};

std::string dumped(const json& value) { return value.dump(-1, ' ', false, json::error_handler_t::replace); }

json asJson(const RunIdentity& identity) {
  json list = json::array();
  for (const auto& [name, value] : identity) list.push_back({name, value});
  return json::parse(dumped(list));  // names of files need not be UTF-8
}

}  // namespace

class CheckpointWriter::File {
 public:
  explicit File(std::filesystem::path target) : file_(std::move(target), "the checkpoint") {
    direct_.number = ::open(file_.part().c_str(), O_WRONLY | O_CLOEXEC | O_DIRECT);
  }

  void add(const CheckpointBlock& block) {
    Hash hash;
    const auto* data = static_cast<const char*>(block.data);
    for (std::int64_t done = 0; done < block.bytes && !abandoned_; done += pieceBytes) {
      const std::int64_t bytes = std::min(pieceBytes, block.bytes - done);
      hash.add(data + done, bytes);
      write(data + done, bytes, end_ + done);
    }
    blocks_.push_back({{"name", block.name}, {"byte", end_}, {"bytes", block.bytes}, {"hash", hash.value()}});
    end_ += wholePages(block.bytes);
  }

  void abandon() { abandoned_ = true; }

  bool commit(const RunIdentity& identity, const CheckpointState& state) {
    if (abandoned_) return false;
    const json trailer = {
        {"identity", asJson(identity)}, {"blocks", blocks_},
        {"pass", state.pass},           {"traces", state.traces},
        {"record", state.record},       {"place", {state.place.pass, state.place.run, state.place.delivered}}};
    const std::string text = dumped(trailer);
    file_.writeAt(text.data(), text.size(), end_);
    const Head head{
        .trailerByte = end_, .trailerBytes = static_cast<std::int64_t>(text.size()), .trailerHash = hashOf(text)};
    file_.writeAt(&head, sizeof head, 0);
    file_.commit();
    return true;
  }

 private:
  /// Whole pages go to the disk directly, the rest through the page cache.
  void write(const char* data, std::int64_t bytes, std::int64_t byte) {
    const bool aligned = std::bit_cast<std::uintptr_t>(data) % pageBytes == 0;
    std::int64_t done = 0;
    while (direct_.number >= 0 && aligned && bytes - done >= pageBytes) {
      const std::int64_t pages = (bytes - done) / pageBytes * pageBytes;
      const ssize_t written = ::pwrite(direct_.number, data + done, static_cast<std::size_t>(pages), byte + done);
      if (written < 0 && errno == EINTR) continue;
      if (written < 0 && errno != EINVAL) file_.fail(errno);
      if (written < 0 || written % pageBytes != 0) break;  // not of this file system
      done += written;
    }
    file_.writeAt(data + done, static_cast<std::size_t>(bytes - done), byte + done);
  }

  PartFile file_;
  Descriptor direct_;
  std::atomic<bool> abandoned_ = false;
  std::int64_t end_ = pageBytes;
  json blocks_ = json::array();
};

CheckpointWriter::CheckpointWriter(std::filesystem::path target) : file_(std::make_unique<File>(std::move(target))) {}
CheckpointWriter::~CheckpointWriter() = default;
void CheckpointWriter::add(const CheckpointBlock& block) { file_->add(block); }
bool CheckpointWriter::commit(const RunIdentity& identity, const CheckpointState& state) {
  return file_->commit(identity, state);
}
void CheckpointWriter::abandon() { file_->abandon(); }

class CheckpointReader::File {
 public:
  File(std::filesystem::path file, const RunIdentity& identity) : file_(std::move(file)) {
    descriptor_.number = ::open(file_.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat facts {};
    if (descriptor_.number < 0 || fstat(descriptor_.number, &facts) != 0)
      refuse(std::string("cannot be read: ") + strerror(errno));
    size_ = facts.st_size;
    try {
      take(trailer(), identity);
    } catch (const json::exception&) {
      damaged("what it says of itself");
    }
  }

  const CheckpointState& state() const { return state_; }

  void read(const CheckpointBlock& block) const {
    const auto at = blocks_.find(block.name);
    if (at == blocks_.end() || at->second.bytes != block.bytes) damaged(block.name);
    auto* data = static_cast<char*>(block.data);
    Hash hash;
    for (std::int64_t done = 0; done < block.bytes; done += pieceBytes) {
      const std::int64_t bytes = std::min(pieceBytes, block.bytes - done);
      fill(data + done, bytes, at->second.byte + done);
      hash.add(data + done, bytes);
    }
    if (hash.value() != at->second.hash) damaged(block.name);
  }

 private:
  struct Stored {
    std::int64_t byte, bytes;
    std::uint64_t hash;
  };

  json trailer() const {
    Head head, ours;
    fill(&head, sizeof head, 0);
    if (head.magic != ours.magic) refuse("is no checkpoint of this program");
    if (head.version != formatVersion) {
      refuse("has format version " + std::to_string(head.version) + ", this program knows version " +
             std::to_string(formatVersion));
    }
    if (head.trailerBytes < 0 || head.trailerBytes > mostTrailer) damaged("what it says of itself");
    std::string text(static_cast<std::size_t>(std::min(head.trailerBytes, size_)), '\0');
    fill(text.data(), head.trailerBytes, head.trailerByte);
    if (hashOf(text) != head.trailerHash) damaged("what it says of itself");
    return json::parse(text);
  }

  void take(const json& trailer, const RunIdentity& identity) {
    refuseOther(trailer.at("identity"), asJson(identity));
    state_.pass = whole(trailer.at("pass"));
    state_.traces = whole(trailer.at("traces"));
    state_.record = whole(trailer.at("record"));
    const json& place = trailer.at("place");
    state_.place = {
        .pass = static_cast<int>(whole(place.at(0))), .run = whole(place.at(1)), .delivered = whole(place.at(2))};
    for (const json& block : trailer.at("blocks")) {
      blocks_[block.at("name").get<std::string>()] = {whole(block.at("byte")), whole(block.at("bytes")),
                                                      static_cast<std::uint64_t>(whole(block.at("hash")))};
    }
  }

  /// A number of more than 64 bits comes as a real one.
  std::int64_t whole(const json& number) const {
    if (!number.is_number_integer()) damaged("what it says of itself");
    return number.get<std::int64_t>();
  }

  void refuseOther(const json& theirs, const json& ours) const {
    std::map<std::string, std::pair<std::string, std::string>> values;  // theirs, ours
    for (const json& fact : theirs) values[fact.at(0).get<std::string>()].first = fact.at(1).get<std::string>();
    for (const json& fact : ours) values[fact.at(0).get<std::string>()].second = fact.at(1).get<std::string>();
    std::string differences;
    for (const auto& [name, value] : values) {
      if (value.first == value.second) continue;
      differences += "\n  " + name + " was " + (value.first.empty() ? "not set" : value.first) + ", now it is " +
                     (value.second.empty() ? "not set" : value.second);
    }
    if (!differences.empty()) refuse("is of another run:" + differences + "\n", "Set that back, or run the job");
  }

  void fill(void* data, std::int64_t bytes, std::int64_t byte) const {
    if (byte < 0 || bytes < 0 || byte > size_ || bytes > size_ - byte) refuse("is too short: " + sizeText());
    for (auto* to = static_cast<char*>(data); bytes > 0;) {
      const ssize_t found = pread(descriptor_.number, to, static_cast<std::size_t>(bytes), byte);
      if (found < 0 && errno == EINTR) continue;
      if (found < 0) refuse(std::string("cannot be read: ") + strerror(errno));
      if (found == 0) refuse("is too short: " + sizeText());
      to += found;
      byte += found;
      bytes -= found;
    }
  }

  std::string sizeText() const { return "it has " + std::to_string(size_) + " bytes"; }

  [[noreturn]] void damaged(const std::string& what) const { refuse("is damaged (" + what + ")"); }
  [[noreturn]] void refuse(const std::string& reason, const std::string& advice = ". Run the job") const {
    throw RunError(file_.string() + ": the checkpoint " + reason + advice + " without --resume, which begins anew.");
  }

  std::filesystem::path file_;
  Descriptor descriptor_;
  std::int64_t size_ = 0;
  CheckpointState state_;
  std::map<std::string, Stored> blocks_;
};

CheckpointReader::CheckpointReader(std::filesystem::path file, const RunIdentity& identity)
    : file_(std::make_unique<File>(std::move(file), identity)) {}
CheckpointReader::~CheckpointReader() = default;
const CheckpointState& CheckpointReader::state() const { return file_->state(); }
void CheckpointReader::read(const CheckpointBlock& block) const { file_->read(block); }

}  // namespace host::local
