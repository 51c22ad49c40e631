#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// Cuts effect source into tokens. Any byte sequence lexes: what is not a name,
// number or literal becomes a one-character punctuator, so garbage reaches the
// parser as tokens it can reject with a line. Comments are skipped.
class EffectLexer
{
public:
    struct Token
    {
        enum eKind { eEnd, eIdentifier, eNumber, eString, eCharacter, ePunctuator, eSpace };

        eKind kind = eEnd;
        std::string_view text;
        std::size_t offset = 0;

        bool is(std::string_view punctuator) const { return kind == ePunctuator && text == punctuator; }
        bool isWord(std::string_view word) const { return kind == eIdentifier && text == word; }
        // C's precedence of a binary operator, from 1 for "||" to 10 for "*";
        // 0 for any other token.
        int precedence() const;
    };

    // keepSpace gives runs of blanks and comments as eSpace tokens, for macro
    // expansion, which has to know where blanks were.
    explicit EffectLexer(std::string_view text, bool keepSpace = false);

    Token next();
    std::size_t offset() const { return position; }

    // The text without the blanks around it.
    static std::string trim(std::string_view text);
    // The characters of a string literal, without its quotes, escapes resolved.
    static std::string unquote(std::string_view literal);

private:
    std::string_view text;
    std::size_t position = 0;
    bool keepSpace;
};
