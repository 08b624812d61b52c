// libFuzzer target: any byte string as a network file. The reader must give a network or
// FILE:LINE messages, never crash or hang; an accepted network must also survive the
// identifier order, whose graph walk relies on the reader's indices (points, direction sets,
// baseline covariances).

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "tools/zr-adjust/model/identifier_order.h"
#include "tools/zr-adjust/network/network_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view text(reinterpret_cast<const char*>(data), size);
  zradjust::ReadResult result = zradjust::ReadNetwork(text, "fuzz.net");
  if (result.errors.size() > zradjust::maxErrorCount + 1) std::abort();
  if (!result.Ok()) return 0;
  const zradjust::Network& network = result.network;
  for (const zradjust::SurveyObservation& observation : network.observations) {
    bool direction = observation.type == zradjust::ObservationType::Direction;
    if (observation.from >= network.points.size() || observation.to >= network.points.size() ||
        observation.at >= network.points.size() || !(observation.sigma > 0.0) ||
        (direction && observation.set >= network.directionSets.size()) ||
        observation.covariance >= static_cast<long>(network.baselineCovariances.size())) {
      std::abort();
    }
  }
  std::vector<std::uint64_t> ids =
      zradjust::AssignIdentifiers(network, zradjust::IdentifierOrder::ReverseCuthillMcKee);
  zradjust::NormalProfile(network, ids);
  zradjust::NetworkWarnings(network, "fuzz.net");
  return 0;
}
