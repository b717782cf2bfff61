#include "host/module/Terminology.h"

#include <stdexcept>

#include "host/module/RecordReader.h"

namespace host {

namespace {

int16_t readCount(RecordReader& reader) {
  const int16_t count = reader.int16();
  if (count < 0)
    throw std::runtime_error("the terminology has a negative count");
  return count;
}

TerminologyParameter readParameter(RecordReader& reader) {
  TerminologyParameter parameter;
  parameter.name = reader.pascalString();
  parameter.key = reader.code();
  parameter.type = reader.code();
  parameter.description = reader.pascalString();
  parameter.flags = reader.int16();
  return parameter;
}

TerminologyEvent readEvent(RecordReader& reader) {
  TerminologyEvent event;
  event.name = reader.pascalString();
  event.description = reader.pascalString();
  event.eventClass = reader.code();
  event.eventId = reader.code();
  event.replyType = reader.code();
  reader.pascalString(); // description of the reply
  event.replyFlags = reader.int16();
  event.directType = reader.code();
  reader.pascalString(); // description of the direct parameter
  event.directFlags = reader.int16();
  for (int16_t left = readCount(reader); left > 0; left--)
    event.parameters.push_back(readParameter(reader));
  return event;
}

TerminologySuite readSuite(RecordReader& reader) {
  TerminologySuite suite;
  suite.name = reader.pascalString();
  suite.description = reader.pascalString();
  suite.code = reader.code();
  suite.level = reader.int16();
  suite.version = reader.int16();
  for (int16_t left = readCount(reader); left > 0; left--)
    suite.events.push_back(readEvent(reader));
  const int16_t classes = readCount(reader), comparisons = readCount(reader),
                enumerations = readCount(reader);
  if (classes || comparisons || enumerations)
    throw std::runtime_error("the terminology has classes, comparisons or enumerations, which a "
                             "filter has no use for");
  return suite;
}

} // namespace

Terminology readTerminology(std::span<const std::byte> record) {
  RecordReader reader(record, "the terminology");
  if (reader.int16() != 1)
    throw std::runtime_error("the terminology is of an unknown kind");
  Terminology terminology;
  terminology.majorVersion = reader.byte();
  terminology.minorVersion = reader.byte();
  terminology.language = reader.int16();
  terminology.script = reader.int16();
  for (int16_t left = readCount(reader); left > 0; left--)
    terminology.suites.push_back(readSuite(reader));
  if (reader.left())
    throw std::runtime_error("the terminology goes on behind its last suite");
  return terminology;
}

} // namespace host
