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

intptr_t identity(Handle handle) { return reinterpret_cast<intptr_t>(handle); }

RunOutcome refused(std::string why) { return {filterBadParameters, false, std::move(why)}; }

// Returns the call's outcome, or an outcome that says that memory ran out.
template <class Call> RunOutcome attempt(Call call) {
  try {
    return call();
  } catch (const std::bad_alloc&) {
    return {memFullErr, false, messageFor(memFullErr)};
  }
}

} // namespace

struct Session::State : Host {
  State(const Module& module, Document& document, SessionOptions options);

  CallOutcome call(int16_t selector, FilterRecord* record);
  CallOutcome call(int16_t selector) { return call(selector, &record); }
  std::string refusal() const;
  RunOutcome run(bool fromMenu, const Recording* recording, int16_t playInfo);
  CallOutcome callSelectors(int16_t first);
  RunOutcome outcomeOf(const CallOutcome& call) const;
  bool offerRecording(const Recording* recording, int16_t playInfo);
  void takeRecorded();

  const Module& module;
  PropertyList propertyList;
  std::string brokenList; // what is wrong with the module's own property list; empty: nothing
  intptr_t data = 0;      // the plug-in's word
  ScriptDescriptor played = nullptr; // the descriptor that this run plays
  std::optional<Recording> recorded;
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

std::string Session::State::refusal() const {
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
    return "the image is too large: this host takes at most " + std::to_string(mostOf16Bits) +
           " pixels a side";
  const std::vector<uint8_t>& selection = document.selection();
  if (!selection.empty() &&
      std::all_of(selection.begin(), selection.end(), [](uint8_t weight) { return weight == 0; }))
    return "nothing is selected";
  return "";
}

CallOutcome Session::State::call(int16_t selector, FilterRecord* callRecord) {
  const CurrentHost guard(*this);
  if (!guard.acquired())
    return {filterBadParameters, true, "another run of the filter has not ended yet"};
  const Handle settingsBefore = record.parameters;
  runSettings = selector == filterSelectorStart ? handles.data(identity(settingsBefore)) : nullptr;
  CallOutcome outcome;
  callInTeam(options.threads,
             [&] { outcome = PluginMain(module.entry(), selector, callRecord, &data); });
  // After an exception the plug-in does not unlock its blocks.
  if (outcome.threw)
    handles.unlockAll();
  // Settings from a failed call may not hold the plug-in's defaults.
  if (outcome.result != noErr && !settingsBefore && record.parameters) {
    handles.release(identity(record.parameters));
    record.parameters = nullptr;
  }
  return outcome;
}

RunOutcome Session::State::outcomeOf(const CallOutcome& call) const {
  RunOutcome outcome{call.result, call.result == userCanceledErr || stopWanted, call.message};
  if (outcome.message.empty())
    outcome.message = messageFor(outcome.cancelled ? userCanceledErr : call.result);
  return outcome;
}

// False: there is no memory for the descriptor. The plug-in would take a null descriptor for a run
// from the menu, and open its dialog.
bool Session::State::offerRecording(const Recording* recording, int16_t playInfo) {
  played = recording ? makeDescriptor(handles, recording->script) : nullptr;
  const int16_t recordInfo = recording ? recording->recordInfo : plugInDialogOptional;
  descriptorParameters = {
      0, playInfo, recordInfo, played, readDescriptorProcs(), writeDescriptorProcs()};
  record.descriptorParameters = options.scripting ? &descriptorParameters : nullptr;
  return !recording || played;
}

// Keeps what the plug-in wrote, and disposes of the played descriptor if the plug-in has not done
// so.
void Session::State::takeRecorded() {
  const ScriptDescriptor left = std::exchange(descriptorParameters.descriptor, nullptr);
  recorded.reset();
  if (left != played)
    if (std::optional<Script> script = readDescriptor(handles, left))
      recorded = {std::move(*script), descriptorParameters.recordInfo};
  for (const ScriptDescriptor descriptor : {left, std::exchange(played, nullptr)})
    if (const auto id = reinterpret_cast<intptr_t>(descriptor); handles.has(id))
      handles.release(id);
}

// Calls the selectors from `first` to finish, until one fails. If start succeeds although the user
// wants to stop, finish is still called.
CallOutcome Session::State::callSelectors(int16_t first) {
  CallOutcome last;
  for (int16_t selector = first; selector <= filterSelectorFinish; selector++) {
    last = call(selector);
    if (last.result != noErr)
      break;
    if (selector == filterSelectorPrepare && needs32Bits(document) &&
        !bigDocumentData.PluginUsing32BitCoordinates)
      return {filterBadParameters, true,
              "the image is too large: the filter takes at most " + std::to_string(mostOf16Bits) +
                  " pixels a side"};
    transfer.flush();
  }
  return last;
}

RunOutcome Session::State::run(bool fromMenu, const Recording* recording, int16_t playInfo) {
  const std::string reason = refusal();
  if (!reason.empty())
    return refused(reason);
  prepareRecord();
  const int deniedBefore = buffers.counts().denied;
  CallOutcome last{memFullErr};
  if (offerRecording(recording, playInfo))
    last = callSelectors(fromMenu ? filterSelectorParameters : filterSelectorPrepare);
  takeRecorded();
  RunOutcome outcome = outcomeOf(last);
  outcome.lostSamples = transfer.lostSamples();
  outcome.unfinished = outcome.ok() && !steps.complete();
  if (outcome.unfinished)
    outcome.message =
        buffers.counts().denied > deniedBefore ? messageFor(memFullErr) : unfinishedMessage;
  return outcome;
}

Session::Session(const Module& module, Document& document, SessionOptions options)
    : state_(std::make_unique<State>(module, document, std::move(options))) {}

Session::~Session() = default;

RunOutcome Session::runFromMenu() {
  return attempt([&] { return state_->run(true, nullptr, plugInDialogDisplay); });
}

RunOutcome Session::repeat() {
  return attempt([&] { return state_->run(false, nullptr, plugInDialogDontDisplay); });
}

RunOutcome Session::replay(const Recording& recording, int16_t playInfo) {
  if (!state_->options.scripting)
    return {errPlugInHostInsufficient, false, "without scripting the filter cannot be played"};
  return attempt([&] { return state_->run(false, &recording, playInfo); });
}

RunOutcome Session::playSilently(const Script& script) {
  RunOutcome outcome;
  if (!parameters(&outcome))
    return outcome;
  return attempt([&] { return replay({script}, plugInDialogSilent); });
}

RunOutcome Session::about() {
  AboutRecord record{&state_->platformData, state_->options.suites ? basicSuite() : nullptr};
  state_->stopWanted = false;
  return attempt([&] {
    return state_->outcomeOf(
        state_->call(filterSelectorAbout, reinterpret_cast<FilterRecord*>(&record)));
  });
}

void* Session::parameters(RunOutcome* outcome) {
  State& state = *state_;
  RunOutcome made;
  if (!state.record.parameters)
    made = attempt([&] {
      const std::string reason = state.refusal();
      if (!reason.empty())
        return refused(reason);
      state.prepareRecord();
      return state.outcomeOf(state.call(filterSelectorParameters));
    });
  void* block = state.handles.data(identity(state.record.parameters));
  if (!block && made.result == noErr)
    made = refused("the filter has no settings");
  if (outcome)
    *outcome = made;
  return block;
}

std::string Session::refusal() const { return state_->refusal(); }
const std::optional<Recording>& Session::recorded() const { return state_->recorded; }
const StoreCounts& Session::buffers() const { return state_->buffers.counts(); }
const StoreCounts& Session::handles() const { return state_->handles.counts(); }

} // namespace host
