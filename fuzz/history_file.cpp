// The history file as found on disk: whatever it holds, loading it leaves a list that encodes
// and decodes to the same number of entries, or the history untouched.

#include "FuzzApp.h"
#include "stores/HistoryFile.h"

using namespace murvel;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const auto entries = decodeHistory(bytes);
  if (!entries)
    return 0;
  const auto again = decodeHistory(encodeHistory(*entries));
  if (!again || again->size() != entries->size())
    fuzzing::violated("a loaded history does not survive being written back");
  for (std::size_t i = 0; i < entries->size(); ++i) {
    if ((*again)[i].text != (*entries)[i].text || (*again)[i].wordCount != (*entries)[i].wordCount)
      fuzzing::violated("writing the history back changed an entry");
  }
  return 0;
}
