// The plug-in's exports for hosts: the entry points that a host looks up by name, and the format descriptor.
// A host that loads the plug-in with dlopen takes their types from here.
#pragma once

#include "plugin/records.h"

#include <cstdint>

class CAMediaFile;

/// Index that asks xCheckVersionAndFile for the interface version.
inline constexpr std::uint32_t kVersionQuery = 0xFFFFFFFFU;
/// Version of the plug-in interface.
inline constexpr std::uint32_t kInterfaceVersion = 23;

extern "C" {

/// Creates, drives and destroys reader objects; the codes are CAMediaFile::mfxfcn. The host owns an object
/// from creation to destruction.
/// - MFX_CREATE without object: a new object constructed with the first 32-bit word at `record` (MFXCmdV1).
/// - MFX_INIT: the object given, or a new one, after its MFXCmd took the record. When MFXCmd fails,
///   the object is destroyed and the result is 0.
/// - MFX_EXIT: passes the record on; 0.
/// - MFX_DESTROY: destroys the object; 0.
/// - MFX_GETOPENFLAGS: stores the open flags in the 32-bit word at `record`; 0.
/// - MFX_GETNAME: copies the open clip's path to the characters at `record`, which must have room; 0.
/// - anything else: the 32-bit result of MFXCmd, zero-extended.
/// When the object or record that a code needs is missing, the result is 0; for the two queries it is -33,
/// sign-extended.
[[gnu::visibility("default")]] std::uintptr_t xMediaFile(CAMediaFile* object, std::uint32_t code,
                                                         void* record);

/// With a path: the verdict on the file, 0 when a reader object can open it.
///
/// Without path, index kVersionQuery gives the interface version, and stores the number of formats in the
/// 32-bit word at `output` unless it is null. Another index copies that format's descriptor to `output` and
/// gives 0, or status::kUnknownFormat.
[[gnu::visibility("default")]] std::uint32_t xCheckVersionAndFile(const char* path, std::uint32_t index,
                                                                  void* output);

/// Always 0.
[[gnu::visibility("default")]] std::uint32_t xValidateFile();

/// The formats that the plug-in reads.
[[gnu::visibility("default")]] extern const FormatDescriptor sarFormats[1];
}

/// Types of the entry points, for dlsym.
using XMediaFile = std::uintptr_t (*)(CAMediaFile*, std::uint32_t, void*);
using XCheckVersionAndFile = std::uint32_t (*)(const char*, std::uint32_t, void*);
using XValidateFile = std::uint32_t (*)();
