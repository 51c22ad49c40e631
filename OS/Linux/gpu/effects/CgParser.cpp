#include "CgParser.h"

#include "EffectLexer.h"

#include <set>
#include <vector>

namespace {

using Token = EffectLexer::Token;

// Deeper than any real shader nests; hostile text stops here with an error.
constexpr int kMaxDepth = 200;

const std::set<std::string_view>& qualifierWords()
{
    static const std::set<std::string_view> words = {
        "static", "const",   "uniform", "extern",    "volatile",  "shared",       "inline", "noinline", "in",
        "out",    "inout",   "varying", "row_major", "column_major", "precise",   "nointerpolation"};
    return words;
}

const std::set<std::string_view>& assignmentOperators()
{
    static const std::set<std::string_view> operators = {"=", "+=", "-=", "*=", "/=", "%=",
                                                         "<<=", ">>=", "&=", "^=", "|="};
    return operators;
}

// Binary operators by precedence, loosest first.
const std::vector<std::set<std::string_view>>& binaryLevels()
{
    static const std::vector<std::set<std::string_view>> levels = {
        {"||"}, {"&&"}, {"|"}, {"^"}, {"&"}, {"==", "!="}, {"<", ">", "<=", ">="}, {"<<", ">>"}, {"+", "-"},
        {"*", "/", "%"}};
    return levels;
}

class Reader
{
public:
    explicit Reader(std::string_view source) : source_(source)
    {
        EffectLexer lexer(source);
        std::size_t counted = 0;
        int line = 1;
        for (Token token = lexer.next(); token.kind != Token::eEnd; token = lexer.next()) {
            for (; counted < token.offset; ++counted)
                line += source[counted] == '\n' ? 1 : 0;
            tokens_.push_back(token);
            lines_.push_back(line);
        }
        for (; counted < source.size(); ++counted)
            line += source[counted] == '\n' ? 1 : 0;
        endLine_ = line;
    }

    CgParser::Result read()
    {
        CgParser::Result result;
        while (ok() && !atEnd())
            topLevel(result.unit);
        if (!ok()) {
            result.error = error_;
            result.errorLine = errorLine_;
            result.unit.children.clear();
        }
        return result;
    }

private:
    // Tokens.
    bool atEnd() const { return at_ >= tokens_.size(); }
    const Token& peek(std::size_t ahead = 0) const
    {
        static const Token end{};
        return at_ + ahead < tokens_.size() ? tokens_[at_ + ahead] : end;
    }
    int line() const { return at_ < lines_.size() ? lines_[at_] : endLine_; }
    std::string text() const { return std::string(peek().text); }
    void skip() { at_ += atEnd() ? 0 : 1; }
    bool accept(std::string_view punctuator)
    {
        if (!peek().is(punctuator))
            return false;
        skip();
        return true;
    }
    bool acceptWord(std::string_view word)
    {
        if (!peek().isWord(word))
            return false;
        skip();
        return true;
    }
    bool expect(std::string_view punctuator)
    {
        if (accept(punctuator))
            return true;
        fail(std::string("'").append(punctuator).append("' expected"));
        return false;
    }
    std::string name()
    {
        if (peek().kind != Token::eIdentifier) {
            fail("a name expected");
            return {};
        }
        std::string word = text();
        skip();
        return word;
    }

    // Errors: the first one wins, and every loop stops on it.
    bool ok() const { return error_.empty(); }
    void fail(const std::string& what)
    {
        if (!ok())
            return;
        errorLine_ = line();
        if (atEnd())
            error_ = "syntax error at the end of the code: " + what;
        else
            error_ = "syntax error at '" + printable(peek().text) + "': " + what;
    }
    static std::string printable(std::string_view text)
    {
        std::string shown;
        for (const char c : text.substr(0, 32))
            shown += (static_cast<unsigned char>(c) >= 0x20 && static_cast<unsigned char>(c) < 0x7f) ? c : '?';
        return shown;
    }

    struct Nesting
    {
        explicit Nesting(Reader& reader) : reader(reader)
        {
            if (++reader.depth_ > kMaxDepth)
                reader.fail("nested too deeply");
        }
        ~Nesting() { --reader.depth_; }
        Reader& reader;
    };

    bool isType(std::string_view word) const
    {
        return CgParser::isBuiltinType(word) || types_.count(std::string(word));
    }
    bool isQualifier(const Token& token) const
    {
        return token.kind == Token::eIdentifier && qualifierWords().count(token.text);
    }
    // A declaration starts with qualifiers, or with a type and then its first name.
    bool atDeclaration() const
    {
        if (isQualifier(peek()) || peek().isWord("struct") || peek().isWord("typedef"))
            return true;
        return peek().kind == Token::eIdentifier && peek(1).kind == Token::eIdentifier && !peek().isWord("return") &&
               !peek().isWord("else") && !peek().isWord("do") && !peek().isWord("case");
    }

    // Skips a balanced run from an opening bracket to its partner.
    void skipBalanced(std::string_view open, std::string_view close)
    {
        int depth = 0;
        do {
            if (atEnd()) {
                fail(std::string("'").append(close).append("' expected"));
                return;
            }
            depth += peek().is(open) ? 1 : peek().is(close) ? -1 : 0;
            skip();
        } while (depth > 0);
    }

    // Declarations.
    void topLevel(CgNode& unit)
    {
        if (accept(";"))
            return;
        if (peek().isWord("struct") || peek().isWord("typedef")) {
            declarationInto(unit);
            return;
        }
        const int start = line();
        std::vector<std::string> qualifiers = qualifierList();
        CgNode type = typeName();
        if (!ok())
            return;
        if (peek().kind == Token::eIdentifier && peek(1).is("(")) {
            CgNode function(CgNode::eFunction, name(), start);
            function.words = std::move(qualifiers);
            function.children.push_back(std::move(type));
            functionRest(function);
            unit.children.push_back(std::move(function));
            return;
        }
        CgNode variables(CgNode::eVariables, {}, start);
        variables.words = std::move(qualifiers);
        variables.children.push_back(std::move(type));
        declaratorsInto(variables);
        unit.children.push_back(std::move(variables));
    }

    // A struct (with any variables declared with it), a typedef, or variables:
    // at top level or as a statement.
    void declarationInto(CgNode& parent)
    {
        const int start = line();
        if (acceptWord("typedef")) {
            CgNode typedefNode(CgNode::eTypedef, {}, start);
            qualifierList();
            typedefNode.children.push_back(typeName());
            const int declaratorLine = line();
            CgNode declarator(CgNode::eDeclarator, name(), declaratorLine);
            arraySizesInto(declarator);
            types_.insert(declarator.text);
            typedefNode.children.push_back(std::move(declarator));
            expect(";");
            parent.children.push_back(std::move(typedefNode));
            return;
        }
        std::vector<std::string> qualifiers = qualifierList();
        if (acceptWord("struct")) {
            CgNode structNode(CgNode::eStruct, peek().kind == Token::eIdentifier ? name() : std::string(), start);
            types_.insert(structNode.text);
            if (accept("{")) {
                while (ok() && !accept("}")) {
                    if (atEnd()) {
                        fail("'}' expected");
                        return;
                    }
                    const int memberLine = line();
                    CgNode member(CgNode::eVariables, {}, memberLine);
                    member.words = qualifierList();
                    member.children.push_back(typeName());
                    declaratorsInto(member);
                    structNode.children.push_back(std::move(member));
                }
            }
            const std::string structName = structNode.text;
            parent.children.push_back(std::move(structNode));
            if (accept(";"))
                return;
            // struct X { ... } x, y;
            CgNode variables(CgNode::eVariables, {}, line());
            variables.words = std::move(qualifiers);
            variables.children.emplace_back(CgNode::eType, structName, start);
            declaratorsInto(variables);
            parent.children.push_back(std::move(variables));
            return;
        }
        CgNode variables(CgNode::eVariables, {}, start);
        variables.words = std::move(qualifiers);
        variables.children.push_back(typeName());
        declaratorsInto(variables);
        parent.children.push_back(std::move(variables));
    }

    std::vector<std::string> qualifierList()
    {
        std::vector<std::string> qualifiers;
        while (isQualifier(peek())) {
            qualifiers.push_back(text());
            skip();
        }
        return qualifiers;
    }

    CgNode typeName()
    {
        CgNode type(CgNode::eType, {}, line());
        if (acceptWord("struct") && peek().kind != Token::eIdentifier) {
            fail("a struct's name expected");
            return type;
        }
        type.text = name();
        // vector<float, 4> and the like: the arguments belong to the type.
        if (peek().is("<") && !isType(type.text) && (type.text == "vector" || type.text == "matrix")) {
            fail("template types are not Cg");
        }
        return type;
    }

    void declaratorsInto(CgNode& variables)
    {
        do
            variables.children.push_back(declarator(true));
        while (ok() && accept(","));
        expect(";");
    }

    // name[n] : SEMANTIC <annotations> = value; a parameter's name may be left out.
    CgNode declarator(bool named)
    {
        const int start = line();
        CgNode node(CgNode::eDeclarator, named || peek().kind == Token::eIdentifier ? name() : std::string(), start);
        arraySizesInto(node);
        semanticOf(node);
        if (peek().is("<"))
            skipBalanced("<", ">");
        if (accept("=")) {
            CgNode initialiser(CgNode::eInitialiser, {}, line());
            initialiser.children.push_back(peek().is("{") ? initList() : assignment());
            node.children.push_back(std::move(initialiser));
        }
        return node;
    }

    void arraySizesInto(CgNode& declarator)
    {
        while (ok() && peek().is("[")) {
            CgNode size(CgNode::eArraySize, {}, line());
            skip();
            if (!peek().is("]"))
                size.children.push_back(expression());
            expect("]");
            declarator.children.push_back(std::move(size));
        }
    }

    // ": TEXCOORD0", ": TEXUNIT2", ": state.light[0].position"; a register
    // binding (": register(c0)") is not a semantic.
    void semanticOf(CgNode& declarator)
    {
        while (ok() && accept(":")) {
            std::string semantic = name();
            if (peek().is("(")) {
                skipBalanced("(", ")");
                continue;
            }
            while (ok() && (peek().is(".") || peek().is("["))) {
                if (accept(".")) {
                    semantic.append(".").append(name());
                } else {
                    skip();
                    semantic.append("[").append(text()).append("]");
                    skip();
                    expect("]");
                }
            }
            declarator.semantic = semantic;
        }
    }

    void functionRest(CgNode& function)
    {
        expect("(");
        if (peek().isWord("void") && peek(1).is(")"))
            skip();
        while (ok() && !accept(")")) {
            if (!function.children.empty() && function.children.back().kind == CgNode::eParameter && !expect(","))
                return;
            CgNode parameter(CgNode::eParameter, {}, line());
            parameter.words = qualifierList();
            parameter.children.push_back(typeName());
            parameter.children.push_back(declarator(false));
            function.children.push_back(std::move(parameter));
        }
        CgNode result;
        semanticOf(result);
        function.semantic = result.semantic;
        if (accept(";"))
            return;
        if (!peek().is("{")) {
            fail("a function body expected");
            return;
        }
        function.children.push_back(block());
    }

    // Statements.
    CgNode block()
    {
        Nesting nesting(*this);
        if (!ok())
            return {};
        CgNode node(CgNode::eBlock, {}, line());
        expect("{");
        while (ok() && !accept("}")) {
            if (atEnd()) {
                fail("'}' expected");
                break;
            }
            statementInto(node);
        }
        return node;
    }

    void statementInto(CgNode& parent)
    {
        if (atDeclaration()) {
            declarationInto(parent);
            return;
        }
        parent.children.push_back(statement());
    }

    // A statement that is not a declaration, or a declaration wrapped in a
    // block of its own where a single statement stands (for (;;) float x;).
    CgNode statement()
    {
        Nesting nesting(*this);
        if (!ok())
            return {};
        const int start = line();
        if (peek().is("{"))
            return block();
        if (atDeclaration()) {
            CgNode wrapped(CgNode::eBlock, {}, start);
            declarationInto(wrapped);
            return wrapped;
        }
        if (accept(";"))
            return CgNode(CgNode::eExpressionStatement, {}, start);
        if (acceptWord("if")) {
            CgNode node(CgNode::eIf, {}, start);
            node.children.push_back(condition());
            node.children.push_back(statement());
            if (acceptWord("else"))
                node.children.push_back(statement());
            return node;
        }
        if (acceptWord("while")) {
            CgNode node(CgNode::eWhile, {}, start);
            node.children.push_back(condition());
            node.children.push_back(statement());
            return node;
        }
        if (acceptWord("do")) {
            CgNode node(CgNode::eDo, {}, start);
            node.children.push_back(statement());
            if (!acceptWord("while"))
                fail("'while' expected");
            node.children.push_back(condition());
            expect(";");
            return node;
        }
        if (acceptWord("for")) {
            CgNode node(CgNode::eFor, {}, start);
            expect("(");
            CgNode initialiser(CgNode::eBlock, {}, line());
            if (atDeclaration())
                declarationInto(initialiser);
            else
                initialiser.children.push_back(expressionStatement());
            node.children.push_back(std::move(initialiser));
            node.children.push_back(peek().is(";") ? CgNode(CgNode::eEmpty, {}, line()) : expression());
            expect(";");
            node.children.push_back(peek().is(")") ? CgNode(CgNode::eEmpty, {}, line()) : expression());
            expect(")");
            node.children.push_back(statement());
            return node;
        }
        if (acceptWord("switch")) {
            CgNode node(CgNode::eSwitch, {}, start);
            node.children.push_back(condition());
            if (!peek().is("{"))
                fail("'{' expected");
            node.children.push_back(block());
            return node;
        }
        if (acceptWord("case") || acceptWord("default")) {
            CgNode node(CgNode::eCase, {}, start);
            if (!peek().is(":"))
                node.children.push_back(conditional());
            expect(":");
            return node;
        }
        if (acceptWord("return")) {
            CgNode node(CgNode::eReturn, {}, start);
            if (!peek().is(";"))
                node.children.push_back(expression());
            expect(";");
            return node;
        }
        for (const char* jump : {"break", "continue", "discard"}) {
            if (acceptWord(jump)) {
                expect(";");
                return CgNode(CgNode::eJump, jump, start);
            }
        }
        if (acceptWord("asm")) {
            if (peek().is("{"))
                skipBalanced("{", "}");
            else
                fail("'{' expected");
            return CgNode(CgNode::eAsm, {}, start);
        }
        return expressionStatement();
    }

    CgNode expressionStatement()
    {
        CgNode node(CgNode::eExpressionStatement, {}, line());
        if (!peek().is(";"))
            node.children.push_back(expression());
        expect(";");
        return node;
    }

    CgNode condition()
    {
        expect("(");
        CgNode node = expression();
        expect(")");
        return node;
    }

    // Expressions, loosest first.
    CgNode expression()
    {
        CgNode left = assignment();
        while (ok() && peek().is(",")) {
            CgNode node(CgNode::eBinary, ",", line());
            skip();
            node.children.push_back(std::move(left));
            node.children.push_back(assignment());
            left = std::move(node);
        }
        return left;
    }

    CgNode assignment()
    {
        Nesting nesting(*this);
        if (!ok())
            return {};
        CgNode left = conditional();
        if (ok() && peek().kind == Token::ePunctuator && assignmentOperators().count(peek().text)) {
            CgNode node(CgNode::eAssign, text(), line());
            skip();
            node.children.push_back(std::move(left));
            node.children.push_back(assignment());
            return node;
        }
        return left;
    }

    CgNode conditional()
    {
        CgNode test = binary(0);
        if (!ok() || !peek().is("?"))
            return test;
        CgNode node(CgNode::eConditional, {}, line());
        skip();
        node.children.push_back(std::move(test));
        node.children.push_back(assignment());
        expect(":");
        node.children.push_back(assignment());
        return node;
    }

    CgNode binary(std::size_t level)
    {
        if (level == binaryLevels().size())
            return unary();
        CgNode left = binary(level + 1);
        while (ok() && peek().kind == Token::ePunctuator && binaryLevels()[level].count(peek().text)) {
            CgNode node(CgNode::eBinary, text(), line());
            skip();
            node.children.push_back(std::move(left));
            node.children.push_back(binary(level + 1));
            left = std::move(node);
        }
        return left;
    }

    CgNode unary()
    {
        Nesting nesting(*this);
        if (!ok())
            return {};
        const int start = line();
        for (const char* op : {"-", "+", "!", "~", "++", "--"}) {
            if (accept(op)) {
                CgNode node(CgNode::eUnary, op, start);
                node.children.push_back(unary());
                return node;
            }
        }
        // (float3)x: a type alone in brackets is a cast.
        if (peek().is("(") && peek(1).kind == Token::eIdentifier && isType(peek(1).text) && peek(2).is(")")) {
            skip();
            CgNode node(CgNode::eCast, {}, start);
            node.children.push_back(typeName());
            skip();
            node.children.push_back(unary());
            return node;
        }
        return postfix(primary());
    }

    CgNode postfix(CgNode operand)
    {
        while (ok()) {
            const int start = line();
            if (accept("[")) {
                CgNode node(CgNode::eIndex, {}, start);
                node.children.push_back(std::move(operand));
                node.children.push_back(expression());
                expect("]");
                operand = std::move(node);
            } else if (accept(".")) {
                CgNode node(CgNode::eMember, name(), start);
                node.children.push_back(std::move(operand));
                operand = std::move(node);
            } else if (peek().is("++") || peek().is("--")) {
                CgNode node(CgNode::ePostfix, text(), start);
                skip();
                node.children.push_back(std::move(operand));
                operand = std::move(node);
            } else {
                break;
            }
        }
        return operand;
    }

    void argumentsInto(CgNode& call)
    {
        expect("(");
        while (ok() && !accept(")")) {
            if (call.children.size() > (call.kind == CgNode::eConstructor ? 1u : 0u) && !expect(","))
                return;
            call.children.push_back(peek().is("{") ? initList() : assignment());
        }
    }

    CgNode primary()
    {
        const int start = line();
        if (accept("(")) {
            CgNode node(CgNode::eParenthesised, {}, start);
            node.children.push_back(expression());
            expect(")");
            return node;
        }
        if (peek().kind == Token::eNumber) {
            CgNode node(CgNode::eLiteral, text(), start);
            skip();
            return node;
        }
        if (peek().kind != Token::eIdentifier) {
            fail("an expression expected");
            return {};
        }
        const std::string word = name();
        if (word == "true" || word == "false")
            return CgNode(CgNode::eLiteral, word, start);
        if (peek().is("(")) {
            if (CgParser::isBuiltinType(word)) {
                CgNode node(CgNode::eConstructor, {}, start);
                node.children.emplace_back(CgNode::eType, word, start);
                argumentsInto(node);
                return node;
            }
            CgNode node(CgNode::eCall, word, start);
            argumentsInto(node);
            return node;
        }
        return CgNode(CgNode::eName, word, start);
    }

    CgNode initList()
    {
        Nesting nesting(*this);
        if (!ok())
            return {};
        CgNode node(CgNode::eInitList, {}, line());
        expect("{");
        while (ok() && !accept("}")) {
            node.children.push_back(peek().is("{") ? initList() : assignment());
            if (!peek().is("}") && !expect(","))
                break;
        }
        return node;
    }

    std::string_view source_;
    std::vector<Token> tokens_;
    std::vector<int> lines_;
    int endLine_ = 1;
    std::size_t at_ = 0;
    int depth_ = 0;
    std::set<std::string> types_; // structs and typedefs declared so far
    std::string error_;
    int errorLine_ = 0;
};

} // namespace

CgParser::Result CgParser::parse(std::string_view source)
{
    return Reader(source).read();
}

bool CgParser::isBuiltinType(std::string_view name)
{
    if (name == "void" || name == "string")
        return true;
    if (name.substr(0, 7) == "sampler")
        return name == "sampler" || name == "sampler1D" || name == "sampler2D" || name == "sampler3D" ||
               name == "samplerCUBE" || name == "samplerRECT" || name == "sampler1DARRAY" ||
               name == "sampler2DARRAY" || name == "sampler2DShadow" || name == "sampler1DShadow";
    for (const std::string_view base : {"float", "half", "fixed", "double", "uint", "int", "bool"}) {
        if (name.substr(0, base.size()) != base)
            continue;
        const std::string_view shape = name.substr(base.size());
        auto dimension = [](char c) { return c >= '1' && c <= '4'; };
        return shape.empty() || (shape.size() == 1 && dimension(shape[0])) ||
               (shape.size() == 3 && dimension(shape[0]) && shape[1] == 'x' && dimension(shape[2]));
    }
    return false;
}
