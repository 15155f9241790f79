#include "chunktable.h"

namespace quenlofar {

using Avi = ContainerAVI;

// Source: AVI RIFF File Reference; OpenDML AVI File Format Extensions 1.02 for dmlh, vprp and indx; the RIFF
// publication of IBM and Microsoft (1991) for the tags of an INFO list.
//
// Kept: of the tags of an INFO list (IARL to ITCH) eight show their text and seventeen do not, and the creation date
// alone has a type of its own: what exists reads the tree by these rows.
// clang-format off
const ChunkRow ChunkRow::rows[ChunkIdTable::rowCount] = {
    {"RIFF", Avi::TypeList,     nullptr,                  {}},
    {"LIST", Avi::TypeList,     nullptr,                  {}},
    {"JUNK", Avi::TypeChunk,    &Avi::parseUnknownObject, {}},
    {"PAD ", Avi::TypeChunk,    &Avi::parseUnknownObject, {}},
    {"avih", Avi::TypeChunk,    &Avi::parseChunkAVIH,     u"Main header"},
    {"strh", Avi::TypeChunk,    &Avi::parseChunkSTRH,     u"Header of stream"},
    {"strf", Avi::TypeChunk,    &Avi::parseChunkSTRF,     u"Format of stream"},
    {"strd", Avi::TypeChunk,    &Avi::parseUnknownObject, u"Additional header data of stream"},
    {"strn", Avi::TypeChunk,    &Avi::parseUnknownObject, u"Name of stream"},
    {"vprp", Avi::TypeChunk,    &Avi::parseChunkVPRP,     u"Properties of Video"},
    {"dmlh", Avi::TypeChunk,    &Avi::parseChunkDMLH,     u"Extended main header"},
    {"indx", Avi::TypeIndex,    &Avi::parseChunkINDX,     {}},
    {"idx1", Avi::TypeIndex,    &Avi::parseChunkIDX1,     {}},
    {"IARL", Avi::TypeChunk,    nullptr,                  {}},
    {"IART", Avi::TypeChunk,    &Avi::parseListINFO,      u"Artists"},
    {"ICMS", Avi::TypeChunk,    nullptr,                  {}},
    {"ICMT", Avi::TypeChunk,    &Avi::parseListINFO,      u"Comments"},
    {"ICOP", Avi::TypeChunk,    &Avi::parseListINFO,      u"Copyright"},
    {"ICRD", Avi::TypeInfoDate, &Avi::parseListINFO,      u"Creation date"},
    {"ICRP", Avi::TypeChunk,    nullptr,                  {}},
    {"IDIM", Avi::TypeChunk,    nullptr,                  {}},
    {"IDIT", Avi::TypeChunk,    nullptr,                  {}},
    {"IDPI", Avi::TypeChunk,    nullptr,                  {}},
    {"IENG", Avi::TypeChunk,    nullptr,                  {}},
    {"IGNR", Avi::TypeChunk,    &Avi::parseListINFO,      u"Genre"},
    {"IKEY", Avi::TypeChunk,    nullptr,                  {}},
    {"ILGT", Avi::TypeChunk,    nullptr,                  {}},
    {"IMED", Avi::TypeChunk,    nullptr,                  {}},
    {"INAM", Avi::TypeChunk,    &Avi::parseListINFO,      u"Title"},
    {"IPLT", Avi::TypeChunk,    nullptr,                  {}},
    {"IPRD", Avi::TypeChunk,    nullptr,                  {}},
    {"ISBJ", Avi::TypeChunk,    &Avi::parseListINFO,      u"Description"},
    {"ISFT", Avi::TypeChunk,    &Avi::parseListINFO,      u"Creating software"},
    {"ISHP", Avi::TypeChunk,    nullptr,                  {}},
    {"ISMP", Avi::TypeChunk,    nullptr,                  {}},
    {"ISRC", Avi::TypeChunk,    nullptr,                  {}},
    {"ISRF", Avi::TypeChunk,    nullptr,                  {}},
    {"ITCH", Avi::TypeChunk,    nullptr,                  {}},
};
// clang-format on

} // namespace quenlofar
