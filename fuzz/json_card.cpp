// Notification cards arrive as JSON from other processes (an alarm's
// additional info 2, the card keys): reading, adapting for the remote
// console and writing again must hold for any text.
#include <memory>

#include "alerts/AlertUINotifier.h"
#include "alerts/uHeroCard.h"
#include "fuzz/JsonRoundTrip.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::CheckJsonRoundTrip(data, size, [] { return std::make_unique<uHeroCard>(""); });
  const std::string text(reinterpret_cast<const char*>(data), size);
  AlertUINotifier* notifier = AlertUINotifier::GetInstance();
  uHeroCard card("fuzz");
  if (notifier->DeSerializerCard(text, card) == 0) {
    // A card that read and fits the 2047-byte limit must read again.
    const std::string written = notifier->SerializeCard(card);
    uHeroCard again("");
    FUZZ_CHECK(written.empty() || notifier->DeSerializerCard(written, again) == 0);
    FUZZ_CHECK(written.size() < 2048);
  }
  const std::string remote = notifier->CustomizeCardForRemote(text);
  FUZZ_CHECK(remote.size() < 2048);
  return 0;
}
