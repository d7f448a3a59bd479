// Scene files: the whole scene saved to and loaded from one file (extension ".kts").
//
// A file is a header (magic, format version) and a chunk list: the classes used, one chunk
// per object (its class, its own Save chunks, its references and custom attributes as file
// indices), the roots, and the scene settings. docs/file-formats.md has the layout.
//
// A load verifies the whole file before it makes anything; any failure (damage, an index out
// of range, an unknown class, an object whose Load fails) refuses the file whole with a
// message and leaves the current scene exactly as it was. A save writes a temporary file in
// the same folder and renames it into place, so a failed save never leaves half a file.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>
#include "iosave.h"

namespace host {

constexpr const MCHAR* SCENE_FILE_EXTENSION = L".kts";
// The eight bytes every scene file starts with.
constexpr uint8_t SCENE_FILE_MAGIC[8] = {'K', 'T', 'S', 'C', 'E', 'N', 'E', 0x1A};

// Chunk ids of the file's own structure (docs/file-formats.md). Unknown ids are skipped.
namespace scenefmt {
constexpr USHORT CLASSES = 0xF001;      // container of CLASS
constexpr USHORT CLASS = 0xF002;        // data: super class, class id words, script name
constexpr USHORT OBJECTS = 0xF010;      // container of OBJECT, in file index order
constexpr USHORT OBJECT = 0xF011;       // container
constexpr USHORT OBJ_CLASS = 0xF012;    // data: int32 index into CLASSES
constexpr USHORT OBJ_STATE = 0xF013;    // container: the object's own Save chunks
constexpr USHORT OBJ_REFS = 0xF014;     // data: int32 count, count x int32 file index (-1 null)
constexpr USHORT OBJ_CUSTATTRIBS = 0xF015;  // data: int32 count, count x int32 file index
constexpr USHORT ROOTS = 0xF020;        // data: int32 count, count x int32 file index
constexpr USHORT SETTINGS = 0xF030;     // data: time, range start, range end, fps, ticks per frame
constexpr USHORT LAYERS = 0xF040;       // container of LAYER, then CURRENT_LAYER
constexpr USHORT LAYER = 0xF041;        // data: name, int32 parent index (-1 top), uint32 flags
constexpr USHORT CURRENT_LAYER = 0xF042;  // data: int32 index
}  // namespace scenefmt

// Time state the file keeps beside the objects.
struct SceneSettings {
    TimeValue time = 0;
    Interval animRange = Interval(0, 100 * 160);
    int frameRate = 30;
    int ticksPerFrame = 160;
};

// The whole scene: the root node and everything below and behind it, and the time settings.
// Answers false with a message in *error (when given) on failure.
bool SaveScene(const MCHAR* path, std::wstring* error = nullptr);
// Replaces the current scene with the file's. Clears the undo stack; broadcasts
// NOTIFY_FILE_PRE_OPEN / NOTIFY_FILE_POST_OPEN around a load that succeeds.
bool LoadScene(const MCHAR* path, std::wstring* error = nullptr);
bool SaveSceneToMemory(std::vector<uint8_t>& out, std::wstring* error = nullptr);
bool LoadSceneFromMemory(const uint8_t* data, size_t size, std::wstring* error = nullptr);

// --- The object graph layer the scene forms are built on (also used by tests) -------------

// Links that are not references but must be followed into the file (a node's children).
using ExtraLinksFn = std::function<void(ReferenceTarget* obj, std::vector<ReferenceTarget*>& out)>;

// Writes more top-level chunks after the file's own (ids from CHUNK_ID_RESERVED up).
using ExtraChunksFn = std::function<void(ISave* isave)>;

// Writes roots and every object reachable from them through references, custom attributes
// and extra links. Every class must be in the ClassDirectory.
bool WriteObjectFile(const std::vector<ReferenceTarget*>& roots, const SceneSettings& settings,
                     std::vector<uint8_t>& out, std::wstring* error, const ExtraLinksFn& links = {},
                     const ExtraChunksFn& extraChunks = {});

// The objects of a file that has been read and verified, with references restored.
// Nobody refers to the roots yet: the caller takes them (or lets this object delete
// everything), then calls Finish.
class LoadedObjectFile {
public:
    LoadedObjectFile();
    ~LoadedObjectFile();  // deletes every object made, unless Finish ran
    LoadedObjectFile(const LoadedObjectFile&) = delete;
    LoadedObjectFile& operator=(const LoadedObjectFile&) = delete;

    const std::vector<ReferenceTarget*>& Roots() const;
    const SceneSettings& Settings() const;
    DWORD FileVersion() const;
    // Some class called ILoad::SetObsolete.
    bool Obsolete() const;
    // A top-level chunk the object layer does not read itself: its payload inside the data
    // given to ReadObjectFile (valid as long as that data), or null when the file has none.
    const uint8_t* TopChunk(USHORT id, size_t* size, size_t* fileOffset) const;
    // The object with file index i, or null.
    ReferenceTarget* Object(int i) const;
    // Runs the post-load callbacks, then deletes objects the file holds that nothing
    // reachable from the roots (through references, custom attributes, extra links) needs.
    void Finish(const ExtraLinksFn& links = {});
    // Deletes every object the file made (a load abandoned after reading).
    void DeleteAll();

    struct Impl;
    std::unique_ptr<Impl> impl;
};

// Reads data[0, size): verify, create each object with ClassDesc::Create(TRUE), Load, restore
// references (host_SetReferenceRaw in slot order, then RefAdded), custom attributes and
// back-patches. The hold is suspended throughout. On failure nothing made survives.
bool ReadObjectFile(const uint8_t* data, size_t size, LoadedObjectFile& out, std::wstring* error);

// File helpers: whole-file read, and write through a temporary renamed into place.
bool ReadFileBytes(const MCHAR* path, std::vector<uint8_t>& out, std::wstring* error);
bool WriteFileAtomically(const MCHAR* path, const std::vector<uint8_t>& bytes, std::wstring* error);

}  // namespace host
