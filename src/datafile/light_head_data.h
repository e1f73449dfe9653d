// Light-head data files (".ild"): a key-store section, then one section
// per head, named "[a::b::c::d]", with either a plain description (limits
// and a lighting curve) or a sealed one (a hexadecimal blob with its signer
// and signature). This turns such files into a list of records, tells which
// records are valid, and writes a record back into a file.
//
// Of several definitions of one head in what is read, the highest valid
// version stays, at the place of the first; with equal versions the first.
#pragma once

#include <string>

#include "datafile/light_head_record.h"

namespace keld {

// The four name parts joined by "::", then "::" and the signer where there
// is one; empty where any name part is empty.
std::string LightHeadIdentifier(const LightHeadEntry& entry);
// Same head: name parts and signer equal, ignoring case.
bool SameLightHead(const LightHeadEntry& a, const LightHeadEntry& b);
// A plain description is valid with algorithm 0 and at least one point; a
// sealed one when the CRC-32 of the blob's text before its last eight
// characters equals those eight read as hexadecimal.
bool IsValidLightHead(const LightHeadEntry& entry);

// Appends the heads of every ".ild" file of `directory` (name compared
// without regard to case, files taken in the order of their names). A file
// that cannot be read is skipped. `filter`, where given, keeps only the head
// of that identifier.
void LoadLightHeadDirectory(const char* directory, LightHeadList* list, const char* filter);
// Appends the heads of one file.
void LoadLightHeadFile(const char* path, LightHeadList* list, const char* filter);

// Writes the entry's section (and the key store, unless all its fields are
// empty) into the file at `path`, first reading what the file holds where
// `parseFirst`; a missing file is a new one. False where a name part is
// empty or the file cannot be read or written.
bool WriteLightHeadEntry(const char* path, const LightHeadEntry& entry, bool parseFirst);

}  // namespace keld
