// The fuzz targets, and what must hold for any bytes.
//
// A target refuses its bytes with a std::runtime_error that has a reason, or with std::bad_alloc.
// Any other failure ends the process: a sanitizer's report, another exception, a broken promise.
#pragma once

#include <span>

#include "apps/photo/Picture.h"

namespace fuzz {

struct Target {
  const char* name; // also of the folder with its cases
  void (*run)(const photo::Bytes& bytes);
};

std::span<const Target> targets();

// Runs the target; returns whether it accepted the bytes.
bool accepts(const Target& target, const photo::Bytes& bytes);

// Prints the promise and ends the process if it is not kept.
void promise(bool kept, const char* words);

// Accepts only pictures that decode quickly; throws std::runtime_error for larger ones.
photo::Watch smallPicturesOnly();

// The targets, one idea per file.
void header(const photo::Bytes& bytes);       // the size in a file's header
void jpeg(const photo::Bytes& bytes);         // the program's own codecs
void webp(const photo::Bytes& bytes);         //
void longXmp(const photo::Bytes& bytes);      // XMP in pieces
void metadata(const photo::Bytes& bytes);     // metadata from any file to results
void message(const photo::Bytes& bytes);      // what a broken reader may answer
void record(const photo::Bytes& bytes);       // the decoder's record, passed to the encoder
void photograph(const photo::Bytes& bytes);   // all steps for a file except the filter
void propertyList(const photo::Bytes& bytes); // of a module
void descriptor(const photo::Bytes& bytes);   // a script in a block that a plug-in gives
void registry(const photo::Bytes& bytes);     // the file with the stored scripts
void settings(const photo::Bytes& bytes);     // a settings file

} // namespace fuzz
