// Whatever the account request answers, its completion runs exactly once.

#include "FuzzApp.h"

using namespace murvel;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static fuzzing::FuzzApp f;
  f.reset();
  int calls = 0;
  f.app->fetchAccountInfo([&calls](Result<AppDelegate::AccountInfo>) { ++calls; });
  f.reply("/account/info", data, size);
  if (calls != 1)
    fuzzing::violated("the account completion did not run exactly once");
  return 0;
}
