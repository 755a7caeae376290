#include <bit>
#include <cstring>
#include <optional>
#include <system_error>

#include "host/local/header_words.h"
#include "host/local/segy_data.h"
#include "host/local/segy_text.h"

namespace host::local {

namespace {

constexpr HeaderField azimuthField{233, HeaderFormat::float32};
constexpr int endOfEnsembleByte = 237;
constexpr int lineSegmentByte = 239;

std::filesystem::path apartFrom(const SegyInput& input, std::filesystem::path target) {
  std::error_code error;
  if (std::filesystem::equivalent(target, input.file, error)) {
    throw RunError(target.string() + ": the output would replace the input. Name another file in `output` of [data].");
  }
  return target;
}

SegyFileHead annotated(SegyFileHead head, const std::vector<std::string>& notes) {
  addNotes(head.text, notes);
  return head;
}

}  // namespace

class SegyOutput::Impl {
 public:
  Impl(std::filesystem::path target, const SegyData& input, const std::vector<std::string>& notes)
      : writer_(apartFrom(input.input(), std::move(target)), annotated(input.head(), notes)) {
    const std::map<std::string, HeaderField>& fields = input.input().layout.fields;
    code_ = fields.at("TRC_TYPE");
    fold_ = fields.at("TR_FOLD");
    if (!input.exists("VEL_AZIM")) return;
    const auto mapped = fields.find("VEL_AZIM");
    azimuth_ = {mapped == fields.end() ? azimuthField : mapped->second, input.index("VEL_AZIM"),
                input.format("VEL_AZIM") == hdrFloat};
  }

  void put(const float* trace, const std::int32_t* head) {
    TraceHeader header;
    std::memcpy(header.data(), head + rawHeaderWord, header.size());
    writeField(header, code_, head[standardHeaders.itrc_type - 1]);
    writeField(header, fold_, head[standardHeaders.itr_fold - 1]);
    if (azimuth_) {
      const std::int32_t word = head[azimuth_->word];
      writeField(header, azimuth_->field, azimuth_->real ? static_cast<double>(std::bit_cast<float>(word)) : word);
    }
    putInt16(header, endOfEnsembleByte, static_cast<std::int16_t>(head[standardHeaders.iend_ens - 1]));
    putInt16(header, lineSegmentByte, static_cast<std::int16_t>(head[standardHeaders.ilseg_seq - 1]));
    writer_.write(header, trace);
  }

  void secure() { writer_.secure(); }
  void finish() { writer_.commit(); }

 private:
  struct Azimuth {
    HeaderField field;
    int word;  // from 0
    bool real;
  };

  SegyWriter writer_;
  HeaderField code_, fold_;
  std::optional<Azimuth> azimuth_;
};

SegyOutput::SegyOutput(std::filesystem::path target, const SegyData& input, const std::vector<std::string>& notes)
    : impl_(std::make_unique<Impl>(std::move(target), input, notes)) {}
SegyOutput::~SegyOutput() = default;

void SegyOutput::put(const float* trace, const std::int32_t* head) { impl_->put(trace, head); }
void SegyOutput::secure() { impl_->secure(); }
void SegyOutput::finish() { impl_->finish(); }

}  // namespace host::local
