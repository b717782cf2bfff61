#include "host/module/EnableExpression.h"

#include <cctype>
#include <stdexcept>
#include <string_view>

#include "hostapi/HostTypes.h"

namespace host {

namespace {

constexpr int deepestNesting = 100; // of parentheses and negations

struct NamedValue {
  std::string_view name;
  int64_t value;
};

constexpr NamedValue constants[] = {
    {"BitmapMode", plugInModeBitmap},
    {"GrayScaleMode", plugInModeGrayScale},
    {"IndexedMode", plugInModeIndexedColor},
    {"RGBMode", plugInModeRGBColor},
    {"CMYKMode", plugInModeCMYKColor},
    {"HSLMode", plugInModeHSLColor},
    {"HSBMode", plugInModeHSBColor},
    {"MultichannelMode", plugInModeMultichannel},
    {"DuotoneMode", plugInModeDuotone},
    {"LabMode", plugInModeLabColor},
    {"Gray16Mode", plugInModeGray16},
    {"RGB48Mode", plugInModeRGB48},
    {"Lab48Mode", plugInModeLab48},
    {"CMYK64Mode", plugInModeCMYK64},
    {"DeepMultichannelMode", plugInModeDeepMultichannel},
    {"Duotone16Mode", plugInModeDuotone16},
    {"RGB96Mode", plugInModeRGB96},
    {"Gray32Mode", plugInModeGray32},
    {"true", 1},
    {"false", 0},
};

// Every rule parses and evaluates at once. It always parses both sides of an operator, so that a
// syntax error is found in every part of an expression.
class Parser {
public:
  Parser(std::string_view text, const EnableFacts& facts) : text_(text), facts_(facts) {}

  int64_t whole() {
    const int64_t value = either();
    skipBlanks();
    if (at_ != text_.size())
      fail("an operator");
    return value;
  }

private:
  int64_t either() {
    int64_t value = both();
    while (accept("||")) {
      const int64_t other = both();
      value = value || other;
    }
    return value;
  }

  int64_t both() {
    int64_t value = comparison();
    while (accept("&&")) {
      const int64_t other = comparison();
      value = value && other;
    }
    return value;
  }

  int64_t comparison() {
    const int64_t left = unary();
    if (accept("=="))
      return left == unary();
    if (accept("!="))
      return left != unary();
    if (accept("<="))
      return left <= unary();
    if (accept(">="))
      return left >= unary();
    if (accept("<"))
      return left < unary();
    if (accept(">"))
      return left > unary();
    return left;
  }

  int64_t unary() {
    const Depth depth(*this);
    if (accept("!"))
      return !unary();
    if (accept("-"))
      return -unary();
    return primary();
  }

  int64_t primary() {
    if (accept("(")) {
      const int64_t value = either();
      expect(")");
      return value;
    }
    skipBlanks();
    if (at_ < text_.size() && isDigit(text_[at_]))
      return number();
    const std::string_view name = word();
    if (name == "in")
      return membership();
    if (name == "PSHOP_ImageMode")
      return facts_.imageMode;
    if (name == "PSHOP_NumTrueChannels")
      return facts_.trueChannels;
    for (const NamedValue& constant : constants)
      if (constant.name == name)
        return constant.value;
    at_ -= name.size();
    fail("a number or a known name");
  }

  // "(" value, choice, ... ")": is the value among the choices?
  int64_t membership() {
    expect("(");
    const int64_t value = either();
    bool found = false;
    expect(",");
    do {
      const int64_t choice = either();
      found = found || choice == value;
    } while (accept(","));
    expect(")");
    return found;
  }

  int64_t number() {
    int64_t value = 0;
    while (at_ < text_.size() && isDigit(text_[at_])) {
      value = value * 10 + (text_[at_++] - '0');
      if (value > INT32_MAX)
        fail("a number of 32 bits");
    }
    return value;
  }

  std::string_view word() {
    skipBlanks();
    const size_t start = at_;
    while (at_ < text_.size() && (std::isalnum(uint8_t(text_[at_])) || text_[at_] == '_'))
      at_++;
    return text_.substr(start, at_ - start);
  }

  bool accept(std::string_view token) {
    skipBlanks();
    if (!text_.substr(at_).starts_with(token))
      return false;
    at_ += token.size();
    return true;
  }

  void expect(std::string_view token) {
    if (!accept(token))
      fail("\"" + std::string(token) + "\"");
  }

  void skipBlanks() {
    while (at_ < text_.size() && std::isspace(uint8_t(text_[at_])))
      at_++;
  }

  static bool isDigit(char c) { return c >= '0' && c <= '9'; }

  [[noreturn]] void fail(const std::string& expected) const {
    throw std::runtime_error("the enable expression has no " + expected + " at character " +
                             std::to_string(at_ + 1));
  }

  struct Depth {
    explicit Depth(Parser& parser) : parser(parser) {
      if (++parser.depth_ > deepestNesting)
        parser.fail("end of its nesting");
    }
    ~Depth() { parser.depth_--; }
    Parser& parser;
  };

  std::string_view text_;
  const EnableFacts& facts_;
  size_t at_ = 0;
  int depth_ = 0;
};

} // namespace

bool evaluateEnable(const std::string& expression, const EnableFacts& facts) {
  return Parser(expression, facts).whole() != 0;
}

} // namespace host
