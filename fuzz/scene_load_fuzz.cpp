// Feeds arbitrary bytes to the scene loader. A refused file must leave the empty scene as it
// was; an accepted one is saved again and must load again (what the host writes it reads).
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "maxapi.h"
#include "scenefile.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    host::ResetScene();
    std::wstring error;
    if (!host::LoadSceneFromMemory(data, size, &error)) {
        if (error.empty() || GetCOREInterface()->GetRootNode()->NumberOfChildren() != 0) std::abort();
        return 0;
    }
    std::vector<uint8_t> again;
    if (!host::SaveSceneToMemory(again, &error)) {
        std::fprintf(stderr, "a loaded scene did not save: %s\n", host::ToUtf8(error).c_str());
        std::abort();
    }
    if (!host::LoadSceneFromMemory(again.data(), again.size(), &error)) {
        std::fprintf(stderr, "a saved scene did not load: %s\n", host::ToUtf8(error).c_str());
        std::abort();
    }
    host::ResetScene();
    return 0;
}
