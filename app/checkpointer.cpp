#include "app/checkpointer.h"

#include <tbb/parallel_for.h>

#include <algorithm>
#include <cstring>
#include <exception>
#include <nlohmann/json.hpp>
#include <string>
#include <system_error>
#include <utility>

#include "korvane/boundary.h"
#include "korvane/gather_pass.h"

namespace app {

using host::local::CheckpointBlock;
using host::local::CheckpointReader;
using host::local::CheckpointState;
using host::local::CheckpointWriter;

namespace {

std::vector<CheckpointBlock> blocksOf(const std::vector<korvane::StoreBlock>& stores) {
  std::vector<CheckpointBlock> blocks;
  for (const korvane::StoreBlock& store : stores) blocks.push_back({store.name, store.data, store.bytes});
  return blocks;
}

void copySideBySide(const CheckpointBlock& from, void* to) {
  constexpr std::int64_t piece = 1 << 20;
  tbb::parallel_for(std::int64_t{0}, (from.bytes + piece - 1) / piece, [&](std::int64_t k) {
    const std::int64_t byte = k * piece;
    std::memcpy(static_cast<char*>(to) + byte, static_cast<const char*>(from.data) + byte,
                static_cast<std::size_t>(std::min(piece, from.bytes - byte)));
  });
}

}  // namespace

Checkpointer::Checkpointer(const host::local::JobFile& file, host::local::LocalJob& job, RunLog& log)
    : job_(job), log_(log), file_(fileOf(file)), identity_(job.identity()) {}

Checkpointer::~Checkpointer() { settle(); }

std::filesystem::path Checkpointer::fileOf(const host::local::JobFile& file) {
  return file.database.string() + "." + file.file.filename().string() + ".checkpoint";
}

Checkpointer::Found Checkpointer::find() {
  std::error_code unknown;  // what cannot be looked at, the reader tells about
  if (!std::filesystem::exists(file_, unknown) && !unknown) return Found::nothing;
  reader_ = std::make_unique<CheckpointReader>(file_, identity_);
  passKept_ = static_cast<int>(reader_->state().pass);
  return job_.takeUp(reader_->state().record) ? Found::brokenRun : Found::completedRun;
}

void Checkpointer::goOn(korvane::RunState& run) {
  if (reader_ == nullptr) return;
  const CheckpointState& state = reader_->state();
  if (state.pass < 2 || state.pass > run.parameters.niterate + 1) {
    throw host::local::RunError(file_.string() + ": the checkpoint goes on with pass " + std::to_string(state.pass) +
                                ", which the run has not. Run the job without --resume, which begins anew.");
  }
  run.numiter = static_cast<int>(state.pass);
  run.numTraces = state.traces;
  for (const CheckpointBlock& block : blocksOf(korvane::attributeBlocks(run))) reader_->read(block);
  for (const CheckpointBlock& block : blocksOf(korvane::velocityBlocks(run))) reader_->read(block);
  korvane::completeStores(run);
  job_.goOnFrom(state.place);
  log_.write("resume", {{"pass", state.pass}, {"traces", state.traces}});
  reader_.reset();
}

void Checkpointer::gathered(const korvane::RunState& run) {
  finishWriting();
  writer_.reset();
  if (korvane::emitsPrestack(run)) return;
  writer_ = std::make_unique<CheckpointWriter>(file_);
  writing_ = std::async(std::launch::async, [this, blocks = blocksOf(korvane::attributeBlocks(run))] {
    for (const CheckpointBlock& block : blocks) writer_->add(block);
  });
}

void Checkpointer::revised(const korvane::RunState& run) {
  if (writer_ == nullptr) return;
  const CheckpointState state{
      .pass = run.numiter, .traces = run.numTraces, .record = job_.record(), .place = job_.place()};
  const Blocks blocks = blocksOf(korvane::velocityBlocks(run));
  if (korvane::outputComes(run)) return complete(blocks, state);  // the output pass leaves the stores alone
  writing_.get();                                                 // the pass to come overwrites A and B
  const Blocks copies = copied(blocks);
  complete(copies.empty() ? blocks : copies, state);
  if (copies.empty()) finishWriting();
}

Checkpointer::Blocks Checkpointer::copied(const Blocks& blocks) {
  Blocks copies;
  copies_.resize(blocks.size());
  for (std::size_t k = 0; k < blocks.size(); ++k) {
    if (copies_[k] == nullptr) copies_[k] = job_.job().blocks.map(blocks[k].bytes);
    if (copies_[k] == nullptr) return {};
    copySideBySide(blocks[k], copies_[k]);
    copies.push_back({blocks[k].name, copies_[k], blocks[k].bytes});
  }
  return copies;
}

void Checkpointer::complete(const Blocks& blocks, const CheckpointState& state) {
  writing_ = std::async(std::launch::async, [this, blocks, state, attributes = std::move(writing_)]() mutable {
    if (attributes.valid()) attributes.get();
    for (const CheckpointBlock& block : blocks) writer_->add(block);
    if (writer_->commit(identity_, state))
      log_.write("checkpoint", {{"next_pass", state.pass}, {"file", file_.string()}});
  });
  passAhead_ = static_cast<int>(state.pass);
}

void Checkpointer::finishWriting() {
  const int ahead = std::exchange(passAhead_, 0);
  if (writing_.valid()) writing_.get();
  if (ahead != 0) passKept_ = ahead;
}

int Checkpointer::settle() noexcept {
  try {
    finishWriting();
  } catch (const std::exception&) {  // the checkpoint before is still there
  }
  writer_.reset();
  return passKept_;
}

void Checkpointer::remove() {
  if (writer_ != nullptr) writer_->abandon();
  settle();
  std::error_code ignored;
  std::filesystem::remove(file_, ignored);
}

}  // namespace app
