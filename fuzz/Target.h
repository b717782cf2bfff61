// What is fed with bytes of any kind, and what must hold whatever they are.
//
// A target refuses its bytes by a std::runtime_error with a reason, or by std::bad_alloc. Anything
// else that goes wrong ends the process: a sanitizer's report, another exception, a broken promise.
#pragma once

#include <span>

#include "apps/photo/Picture.h"

namespace fuzz {

struct Target {
  const char* name; // and of the folder with its cases
  void (*run)(const photo::Bytes& bytes);
};

std::span<const Target> targets();

// Runs the target; gives whether it took the bytes.
bool accepts(const Target& target, const photo::Bytes& bytes);

// Ends the process with the promise in words when it is not kept.
void promise(bool kept, const char* words);

// Lets pictures pass that are decoded in no time; throws std::runtime_error for larger ones.
photo::Watch smallPicturesOnly();

// The targets, one idea a file.
void header(const photo::Bytes& bytes);       // what a file's header claims
void jpeg(const photo::Bytes& bytes);         // the program's own codecs
void webp(const photo::Bytes& bytes);         //
void longXmp(const photo::Bytes& bytes);      // XMP in pieces
void metadata(const photo::Bytes& bytes);     // metadata from any file to results
void message(const photo::Bytes& bytes);      // what a broken reader may answer
void record(const photo::Bytes& bytes);       // the decoder's record, given to the encoder
void photograph(const photo::Bytes& bytes);   // a file's whole road but for the filter
void propertyList(const photo::Bytes& bytes); // of a module
void descriptor(const photo::Bytes& bytes);   // a script in a block that a plug-in gives
void registry(const photo::Bytes& bytes);     // the file with the scripts that are kept
void settings(const photo::Bytes& bytes);     // a file with a look

} // namespace fuzz
