#include "host/session/Session.h"

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <utility>

#include "host/module/PropertyList.h"
#include "host/module/ResultMessages.h"
#include "host/session/Host.h"
#include "host/session/Team.h"

namespace host {

namespace {

constexpr int32_t mostOf16Bits = std::numeric_limits<int16_t>::max();

bool needs32Bits(const Document& document) {
  return document.width() > mostOf16Bits || document.height() > mostOf16Bits;
}

RunOutcome refused(std::string why) { return {filterBadParameters, false, std::move(why)}; }

} // namespace

struct Session::State : Host {
  State(const Module& module, Document& document, SessionOptions options);

  CallOutcome call(int16_t selector, FilterRecord* record);
  CallOutcome call(int16_t selector) { return call(selector, &record); }
  std::string whyNot() const;
  RunOutcome run(bool fromMenu, const Script* script, int16_t playInfo, int16_t recordInfo);
  RunOutcome outcomeOf(const CallOutcome& call) const;
  void offerScript(const Script* script, int16_t playInfo, int16_t recordInfo);
  void takeRecorded();

  const Module& module;
  PropertyList propertyList;
  std::string brokenList; // what is wrong with the module's own; empty: nothing
  std::string refusal;
  intptr_t data = 0;                 // the plug-in's word
  ScriptDescriptor played = nullptr; // what this run was given to play
  std::optional<Script> recorded;
};

Session::State::State(const Module& module, Document& document, SessionOptions options)
    : Host(document, std::move(options)), module(module) {
  const auto record = module.record(propertyListName);
  try {
    propertyList = record.empty() ? assumedPropertyList() : readPropertyList(record);
  } catch (const std::runtime_error& error) {
    brokenList = std::string("the filter cannot be offered: ") + error.what();
  }
}

// Why no selector may be called for the document; empty if all may.
std::string Session::State::whyNot() const {
  if (!brokenList.empty())
    return brokenList;
  try {
    const std::string reason = refusalReason(propertyList, document);
    if (!reason.empty())
      return reason;
  } catch (const std::runtime_error& error) {
    return std::string("the filter cannot be offered: ") + error.what();
  }
  if (!options.wideRects && needs32Bits(document))
    return "the image is too large: this host tells rectangles in 16 bits, up to " +
           std::to_string(mostOf16Bits) + " pixels a side";
  const std::vector<uint8_t>& selection = document.selection();
  if (!selection.empty() &&
      std::all_of(selection.begin(), selection.end(), [](uint8_t weight) { return weight == 0; }))
    return "nothing is selected";
  return "";
}

CallOutcome Session::State::call(int16_t selector, FilterRecord* callRecord) {
  const CurrentHost guard(*this);
  if (!guard.acquired())
    return {filterBadParameters, false, "another run of the filter is not finished"};
  CallOutcome outcome;
  callInTeam(options.threads,
             [&] { outcome = PluginMain(module.entry(), selector, callRecord, &data); });
  // An exception passed by the plug-in's own unlocking.
  if (!outcome.message.empty())
    handles.unlockAll();
  return outcome;
}

RunOutcome Session::State::outcomeOf(const CallOutcome& call) const {
  RunOutcome outcome{call.result, call.result == userCanceledErr || abortSaid, call.message};
  if (outcome.message.empty())
    outcome.message = messageFor(outcome.cancelled ? userCanceledErr : call.result);
  return outcome;
}

void Session::State::offerScript(const Script* script, int16_t playInfo, int16_t recordInfo) {
  descriptorParameters = {
      0, playInfo, recordInfo, nullptr, readDescriptorProcs(), writeDescriptorProcs()};
  played = script ? makeDescriptor(handles, *script) : nullptr;
  descriptorParameters.descriptor = played;
  record.descriptorParameters = options.scripting ? &descriptorParameters : nullptr;
}

// Keeps what the plug-in wrote and disposes of what it was given, if it has not done so itself.
void Session::State::takeRecorded() {
  const ScriptDescriptor left = std::exchange(descriptorParameters.descriptor, nullptr);
  recorded.reset();
  if (left && left != played)
    recorded = readDescriptor(handles, left);
  for (const ScriptDescriptor descriptor : {left, std::exchange(played, nullptr)})
    if (const auto id = reinterpret_cast<intptr_t>(descriptor); handles.has(id))
      handles.release(id);
}

// Selectors until one fails: prepare, start, continue, finish, before them parameters for a run
// from the menu. A start that went through although the user asked to stop is finished in good
// order; the outcome tells.
RunOutcome Session::State::run(bool fromMenu, const Script* script, int16_t playInfo,
                               int16_t recordInfo) {
  refusal = whyNot();
  if (!refusal.empty())
    return refused(refusal);
  prepareRecord();
  offerScript(script, playInfo, recordInfo);
  const int deniedBefore = buffers.counts().denied;

  CallOutcome last;
  for (int16_t selector = fromMenu ? filterSelectorParameters : filterSelectorPrepare;
       selector <= filterSelectorFinish; selector++) {
    last = call(selector);
    if (last.result != noErr)
      break;
    if (selector == filterSelectorPrepare && needs32Bits(document) &&
        !bigDocumentData.PluginUsing32BitCoordinates) {
      last = {filterBadParameters, true,
              "the image is too large: the filter does not use 32-bit rectangles"};
      break;
    }
    transfer.flush();
  }
  takeRecorded();
  RunOutcome outcome = outcomeOf(last);
  outcome.starved = buffers.counts().denied > deniedBefore;
  if (outcome.starved && outcome.message.empty())
    outcome.message = messageFor(memFullErr);
  return outcome;
}

Session::Session(const Module& module, Document& document, SessionOptions options)
    : state_(std::make_unique<State>(module, document, std::move(options))) {}

Session::~Session() = default;

RunOutcome Session::runFromMenu() {
  return state_->run(true, nullptr, plugInDialogDisplay, plugInDialogOptional);
}

RunOutcome Session::playSilently(const Script& script) {
  if (!state_->options.scripting)
    return {errPlugInHostInsufficient, false, "without scripting the filter cannot be played"};
  RunOutcome outcome;
  if (!parameters(&outcome))
    return outcome;
  return state_->run(false, &script, plugInDialogSilent, plugInDialogOptional);
}

RunOutcome Session::repeat() {
  return state_->run(false, nullptr, plugInDialogDontDisplay, plugInDialogOptional);
}

RunOutcome Session::replay(const Script& script, int16_t playInfo, int16_t recordInfo) {
  return state_->run(false, &script, playInfo, recordInfo);
}

RunOutcome Session::about() {
  AboutRecord record{&state_->platformData, state_->options.suites ? basicSuite() : nullptr};
  state_->abortSaid = false;
  return state_->outcomeOf(
      state_->call(filterSelectorAbout, reinterpret_cast<FilterRecord*>(&record)));
}

void* Session::parameters(RunOutcome* outcome) {
  State& state = *state_;
  if (!state.record.parameters) {
    if (!refusal().empty()) {
      if (outcome)
        *outcome = refused(state.refusal);
      return nullptr;
    }
    state.prepareRecord();
    const CallOutcome call = state.call(filterSelectorParameters);
    if (outcome)
      *outcome = state.outcomeOf(call);
    if (call.result != noErr)
      return nullptr;
  }
  void* block = state.handles.data(reinterpret_cast<intptr_t>(state.record.parameters));
  if (!block && outcome && outcome->result == noErr)
    *outcome = refused("the filter has no settings");
  return block;
}

const std::string& Session::refusal() const { return state_->refusal = state_->whyNot(); }

const std::optional<Script>& Session::recorded() const { return state_->recorded; }

Session::BufferCounts Session::buffers() const {
  const StoreCounts& counts = state_->buffers.counts();
  return {state_->requests.count, counts.live,         counts.refusedReleases, counts.bytesInUse,
          counts.bytesPeak,       counts.refusedLocks, counts.refusedUnlocks};
}

Session::HandleCounts Session::handles() const {
  const StoreCounts& counts = state_->handles.counts();
  return {counts.live, counts.refusedReleases + counts.refusedLocks + counts.refusedOthers};
}

Session::SuiteCounts Session::suites() const { return state_->suiteCounts; }

} // namespace host
