// fogdissolver-reader: decodes one photograph for a program that has threads.

#include "apps/photo/ReaderProcess.h"

int main(int argc, char** argv) { return photo::beReaderProgram(argc, argv); }
