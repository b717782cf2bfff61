// Whole runs of the built module: what lasts from one run to the next, the team that the host
// gives, and a host with little to offer.
#include "frame/contract/Parameters.h"
#include "frame/contract/ScriptKeys.h"
#include "tests/support/HostFixture.h"

namespace {

Parameters& settings(host::Session& session) {
  return *static_cast<Parameters*>(session.parameters());
}

// A repeat finds the settings of the run before. The flag lasts in the registry from session to
// session; the mask's display follows it, one run behind the script.
TEST(Run, SettingsLast) {
  host::Registry registry;
  host::Document document = fixture::hazyScene(30, 20, 8);
  host::Session session(fixture::builtModule(), document, {.threads = 4, .registry = &registry});
  settings(session).foregroundIntensity = settings(session).backgroundIntensity = 0.25f;
  fixture::Trace trace(fixture::builtModule());
  ASSERT_TRUE(session.playSilently({{keyOutputMap, true}}).ok());
  EXPECT_THAT(trace.text(), testing::HasSubstr("PluginMain_core :: 4 threads, "));
  EXPECT_EQ(settings(session).displayMap, 0);
  EXPECT_EQ(session.recorded()->script, (host::Script{{keyOutputMap, true}}));
  ASSERT_TRUE(session.repeat().ok());
  EXPECT_EQ(settings(session).foregroundIntensity, 0.25f);
  EXPECT_EQ(settings(session).displayMap, 1);
  EXPECT_EQ(fixture::sampleAt(document, 7, 5, 2), 64); // a mask of 0.25 everywhere
  EXPECT_EQ(session.buffers().refusedReleases, 0);

  host::Document other = fixture::hazyScene(30, 20, 8);
  host::Session later(fixture::builtModule(), other, {.registry = &registry});
  ASSERT_TRUE(later.playSilently({}).ok());
  EXPECT_EQ(settings(later).outputMap, 1);
}

TEST(Run, HostWithoutSuites) {
  host::Document document = fixture::hazyScene(30, 20, 16);
  const host::Document before = fixture::copyOf(document);
  host::Session session(fixture::builtModule(), document, {.wideRects = false, .suites = false});
  ASSERT_TRUE(session.playSilently({}).ok());
  EXPECT_FALSE(fixture::sameSamples(document, before));
}

} // namespace
