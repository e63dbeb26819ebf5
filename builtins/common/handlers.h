// The handlers that the built-in table names, by the file they live in.
#pragma once

#include "engine/context/builtin.h"

#include <string_view>

namespace kestrel::builtins {

// numeric.cpp
void absolute(BuiltinCall& call);
void ceiling(BuiltinCall& call);
void floorOf(BuiltinCall& call);
void factorial(BuiltinCall& call);
void round(BuiltinCall& call);
void range(BuiltinCall& call);
void select(BuiltinCall& call);
void step(BuiltinCall& call);
/// A row without a computation that leaves its arguments where they are.
void untouched(BuiltinCall& call);
/// A row without a computation that takes its arguments and has no value.
void consume(BuiltinCall& call);

// vectors.cpp
void magnitude(BuiltinCall& call);
void cross3d(BuiltinCall& call);
void dot3d(BuiltinCall& call);
void cross2d(BuiltinCall& call);
void dot2d(BuiltinCall& call);
void center(BuiltinCall& call);
void extent(BuiltinCall& call);

// angle.cpp
void angle(BuiltinCall& call);

// transforms.cpp
void translate3d(BuiltinCall& call);
void rotate3d(BuiltinCall& call);
void scale3d(BuiltinCall& call);

// random.cpp
void random(BuiltinCall& call);
void randu(BuiltinCall& call);

// conversions.cpp
void size(BuiltinCall& call);
void numberOfText(BuiltinCall& call);
void integerOf(BuiltinCall& call);
void vectorOfText(BuiltinCall& call);
void array(BuiltinCall& call);

// text_build.cpp
void stringOf(BuiltinCall& call);
void append(BuiltinCall& call);
void hex(BuiltinCall& call);
void octal(BuiltinCall& call);

// text_parts.cpp
void parse(BuiltinCall& call);
void split(BuiltinCall& call);
void strleft(BuiltinCall& call);
void strright(BuiltinCall& call);
void strsub(BuiltinCall& call);
void strupper(BuiltinCall& call);
void strlower(BuiltinCall& call);

// localized_text.cpp
void localizedText(BuiltinCall& call);

// messages.cpp
void message(BuiltinCall& call);

// store.cpp
void store(BuiltinCall& call);
void recall(BuiltinCall& call);

// dump.cpp
void dump(BuiltinCall& call);

// file_methods.cpp
void openFile(BuiltinCall& call);
void fileExists(BuiltinCall& call);
void fileDelete(BuiltinCall& call);

// processes.cpp
void spawn(BuiltinCall& call);
void waitFor(BuiltinCall& call);
void terminate(BuiltinCall& call);

// shell.cpp
void systemCommand(BuiltinCall& call);
void systemCommandOutput(BuiltinCall& call);

// directories.cpp
void changeDirectory(BuiltinCall& call);
void makeDirectory(BuiltinCall& call);
void removeDirectory(BuiltinCall& call);
void matchFiles(BuiltinCall& call);

// surroundings.cpp
void environmentVariable(BuiltinCall& call);
void machineKind(BuiltinCall& call);
void sleepFor(BuiltinCall& call);
void startTimer(BuiltinCall& call);
void stopTimer(BuiltinCall& call);

// builtin_table.cpp
/// Stands in for a function that is not there.
void later(BuiltinCall& call);

}  // namespace kestrel::builtins
