// Numeric entry in edit boxes.
#include "ui/utility/NumericEntry.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <string_view>

#include "frame/text/Numbers.h"
#include "frame/text/Strings.h"
#include "ui/utility/Alerts.h"
#include "ui/utility/ControlItems.h"

namespace {

constexpr size_t longestStored = 254; // bytes

// The parts before and after the last decimal point; without a point all of it is the whole part.
struct DecimalParts {
  std::string_view whole, fraction;
};

DecimalParts splitAtPoint(std::string_view text) {
  const size_t point = text.find_last_of(".,");
  if (point == std::string_view::npos)
    return {text, {}};
  return {text.substr(0, point), text.substr(point + 1)};
}

template <class Number>
EntryState stateOf(bool isNumber, Number value, Number minimum, Number maximum) {
  if (!isNumber)
    return EntryState::noNumber;
  return value >= minimum && value <= maximum ? EntryState::inRange : EntryState::outOfRange;
}

void tellRange(Window dialog, int item, int32_t active, int32_t stringId,
               const PascalString& minimum, const PascalString& maximum) {
  MessageBeep(MB_ICONEXCLAMATION);
  ShowAlert(dialog, active, stringId, minimum, maximum, 0);
  SelectItemText(dialog, item);
}

} // namespace

void FetchItemText(Window dialog, int item, PascalString& text) {
  text = PascalString(GetDlgItemText(dialog, item));
}

void StoreItemText(Window dialog, int item, const PascalString& text) {
  SetDlgItemText(dialog, item, std::string(text.view().substr(0, longestStored)));
}

EntryState FetchInteger(Window dialog, int item, int32_t minimum, int32_t maximum,
                        int32_t& result) {
  PascalString text;
  FetchItemText(dialog, item, text);
  const bool isNumber = StringToNumber(text, result) != NumberKind::none;
  return stateOf(isNumber, result, minimum, maximum);
}

EntryState FetchDouble(Window dialog, int item, double minimum, double maximum, double& result) {
  PascalString text;
  FetchItemText(dialog, item, text);
  const DecimalParts parts = splitAtPoint(text.view());
  PascalString whole(parts.whole), fraction(parts.fraction);
  int32_t wholeNumber, fractionNumber;
  const bool hasWhole = StringToNumber(whole, wholeNumber) != NumberKind::none;
  const bool hasFraction = StringToNumber(fraction, fractionNumber) != NumberKind::none;
  result = wholeNumber + fractionNumber / std::pow(10.0, double(fraction.length()));
  return stateOf(hasWhole || hasFraction, result, minimum, maximum);
}

void StoreDouble(Window dialog, int item, double value, int precision) {
  StoreItemText(dialog, item, NumberToString(value, precision));
}

void ReportIntegerRange(Window dialog, int item, int32_t minimum, int32_t maximum, int32_t& value,
                        int32_t active) {
  value = value < minimum ? minimum : maximum;
  SetDlgItemInt(dialog, item, value, true);
  PascalString least, greatest;
  least.append(minimum);
  greatest.append(maximum);
  tellRange(dialog, item, active, stringIntegerRange, least, greatest);
}

void ReportDoubleRange(Window dialog, int item, double minimum, double maximum, double& value,
                       int32_t active) {
  PascalString text;
  FetchItemText(dialog, item, text);
  const int decimals = int(splitAtPoint(text.view()).fraction.size());
  value = value < minimum ? minimum : maximum;
  StoreDouble(dialog, item, value, decimals);
  tellRange(dialog, item, active, stringDecimalRange, NumberToString(minimum, decimals),
            NumberToString(maximum, decimals));
}
