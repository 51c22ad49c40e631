#include "EffectLexer.h"

#include <array>
#include <utility>

namespace
{
    bool isNameStart(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; }
    bool isDigit(char c) { return c >= '0' && c <= '9'; }
    bool isNameChar(char c) { return isNameStart(c) || isDigit(c); }
    bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v'; }

    // Longest first, so that "<<=" wins over "<<" and "<".
    constexpr std::array<std::string_view, 23> kPunctuators = {
        "<<=", ">>=", "##", "<<", ">>", "<=", ">=", "==", "!=", "&&", "||", "++",
        "--",  "+=",  "-=", "*=", "/=", "%=", "&=", "|=", "^=", "->", "::"};
}

EffectLexer::EffectLexer(std::string_view source, bool keepSpaceTokens) : text(source), keepSpace(keepSpaceTokens) {}

EffectLexer::Token EffectLexer::next()
{
    const std::size_t size = text.size();
    const std::size_t spaceStart = position;
    while (position < size) {
        const char c = text[position];
        if (isBlank(c) || c == '\\') {
            ++position;
        } else if (c == '/' && position + 1 < size && text[position + 1] == '/') {
            while (position < size && text[position] != '\n')
                ++position;
        } else if (c == '/' && position + 1 < size && text[position + 1] == '*') {
            const std::size_t close = text.find("*/", position + 2);
            position = close == std::string_view::npos ? size : close + 2;
        } else {
            break;
        }
    }
    if (keepSpace && position > spaceStart)
        return {Token::eSpace, text.substr(spaceStart, position - spaceStart), spaceStart};

    const std::size_t start = position;
    if (position >= size)
        return {Token::eEnd, {}, start};

    const char c = text[position];
    Token::eKind kind = Token::ePunctuator;
    if (isNameStart(c)) {
        kind = Token::eIdentifier;
        while (position < size && isNameChar(text[position]))
            ++position;
    } else if (isDigit(c) || (c == '.' && position + 1 < size && isDigit(text[position + 1]))) {
        // A preprocessing number: digits, letters, dots and signed exponents.
        kind = Token::eNumber;
        ++position;
        while (position < size) {
            const char d = text[position];
            if ((d == '+' || d == '-') && (text[position - 1] == 'e' || text[position - 1] == 'E') &&
                !(text[start] == '0' && start + 1 < size && (text[start + 1] == 'x' || text[start + 1] == 'X')))
                ++position;
            else if (isNameChar(d) || d == '.')
                ++position;
            else
                break;
        }
    } else if (c == '"' || c == '\'') {
        kind = c == '"' ? Token::eString : Token::eCharacter;
        ++position;
        // An unterminated literal ends at the line's end; the parser rejects it.
        while (position < size && text[position] != c && text[position] != '\n') {
            if (text[position] == '\\' && position + 1 < size)
                ++position;
            ++position;
        }
        if (position < size && text[position] == c)
            ++position;
    } else {
        std::size_t length = 1;
        // The first byte rules out most candidates without a comparison:
        // macro expansion lexes every byte of its text several times.
        for (std::string_view punctuator : kPunctuators)
            if (punctuator[0] == c && text.substr(position, punctuator.size()) == punctuator) {
                length = punctuator.size();
                break;
            }
        position += length;
    }
    return {kind, text.substr(start, position - start), start};
}

int EffectLexer::Token::precedence() const
{
    if (kind != ePunctuator)
        return 0;
    static const std::pair<std::string_view, int> kLevels[] = {
        {"||", 1}, {"&&", 2}, {"|", 3},  {"^", 4},  {"&", 5},  {"==", 6}, {"!=", 6}, {"<", 7},  {">", 7},
        {"<=", 7}, {">=", 7}, {"<<", 8}, {">>", 8}, {"+", 9},  {"-", 9},  {"*", 10}, {"/", 10}, {"%", 10}};
    for (const auto& [op, level] : kLevels)
        if (text == op)
            return level;
    return 0;
}

std::string EffectLexer::trim(std::string_view text)
{
    const std::size_t first = text.find_first_not_of(" \t\r\f\v\n");
    if (first == std::string_view::npos)
        return {};
    const std::size_t last = text.find_last_not_of(" \t\r\f\v\n");
    return std::string(text.substr(first, last - first + 1));
}

std::string EffectLexer::unquote(std::string_view literal)
{
    std::string value;
    for (std::size_t at = 1; at + 1 < literal.size(); ++at) {
        char c = literal[at];
        if (c == '\\' && at + 2 < literal.size()) {
            c = literal[++at];
            c = c == 'n' ? '\n' : c == 't' ? '\t' : c;
        }
        value += c;
    }
    return value;
}
