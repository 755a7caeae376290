#include "host/local/velocity_text.h"

#include "fuzz/fuzz_target.h"

// Velocity functions as text, in every form, with and without what can be told of them.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace host::local;
  static korvane_fuzz::MemoryFile file;
  FuzzedDataProvider choice(data, size);
  VelocityTextOptions options;
  const auto perhaps = [&](auto& option, auto last) {
    using Option = typename std::remove_reference_t<decltype(option)>::value_type;
    const int chosen = choice.ConsumeIntegralInRange(-1, static_cast<int>(last));
    if (chosen >= 0) option = static_cast<Option>(chosen);
  };
  perhaps(options.form, VelocityForm::lines);
  perhaps(options.times, TimeUnit::milliseconds);
  perhaps(options.velocities, VelocityUnit::metres);
  perhaps(options.to, VelocityUnit::metres);
  using enum VelocityColumn;
  options.columns = choice.PickValueInArray<std::vector<VelocityColumn>>(
      {{}, {}, {cdp, time, velocity}, {velocity, other, cdp, y, x, time}});
  const float x0 = choice.ConsumeFloatingPoint<float>(), y0 = choice.ConsumeFloatingPoint<float>();
  file.write(choice.ConsumeRemainingBytesAsString());
  korvane_fuzz::attempt(
      [&] { korvane_fuzz::interpolate(*readVelocities(file.path(), "fuzz", options).table, x0, y0); });
  return 0;
}
