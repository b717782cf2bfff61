// The built module as the host finds it: its records, and what they let in.
#include "host/module/PropertyList.h"
#include "host/module/Terminology.h"
#include "tests/support/HostFixture.h"

namespace {

TEST(BuiltModule, IsOfferedAsItsRecordsSay) {
  const host::Module& module = fixture::builtModule();
  const host::PropertyList list = host::readPropertyList(module.record(host::propertyListName));
  EXPECT_EQ(list.name, "Fogdissolver");
  EXPECT_EQ(list.entryName, "PluginMain");
  EXPECT_EQ(list.maxRows, 2000000);
  EXPECT_EQ(list.maxColumns, 2000000);
  for (const host::FilterCase& c : list.cases) {
    EXPECT_EQ(c.inputHandling, 4);
    EXPECT_EQ(c.outputHandling, 4);
  }
  const host::Terminology terms = host::readTerminology(module.record(host::terminologyName));
  ASSERT_EQ(terms.suites.size(), 1u);
  EXPECT_EQ(terms.suites[0].events.at(0).eventClass, list.eventClass);
  EXPECT_EQ(terms.suites[0].events.at(0).eventId, list.eventId);

  for (const int depth : {8, 16, 32})
    EXPECT_EQ(host::refusalReason(list, host::Document(1, 1, 3, depth)), "");
  EXPECT_EQ(host::refusalReason(list, host::Document(1, 1, 1, 8, host::ColourMode::grayscale)),
            "the filter works on RGB images");
  EXPECT_NE(host::refusalReason(list, host::Document(1, 2000001, 3, 8)), "");
}

TEST(BuiltModule, RunsSilentlyOnEveryDepth) {
  for (const int depth : {8, 16, 32}) {
    host::Document document = fixture::hazyScene(60, 41, depth);
    const host::Document before = fixture::copyOf(document);
    fixture::Watch watch;
    host::Session session(fixture::builtModule(), document, watch.options());
    const host::RunOutcome outcome = session.playSilently({});
    EXPECT_TRUE(outcome.ok()) << outcome.message;
    EXPECT_GT(fixture::largestDifference(document, before), 0) << depth;
    EXPECT_GT(watch.abortCalls, 0);
    EXPECT_FALSE(watch.progress.empty());
    EXPECT_EQ(session.handles().live, 2); // settings and run record
  }
}

} // namespace
