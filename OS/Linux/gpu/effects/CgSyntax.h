#pragma once

#include <string>
#include <vector>

// One node of the syntax tree of an effect's Cg code, as CgParser builds it.
// Every node keeps the source line it starts on, so that the translated code
// keeps the author's line numbers. What the children are depends on the kind:
//
//   eUnit          top-level items
//   eStruct        text: name; children: the member eVariables
//   eTypedef       children: eType, eDeclarator (text: the new name)
//   eVariables     words: qualifiers; children: eType, then one eDeclarator each
//   eDeclarator    text: name; semantic; children: eArraySize..., then eInitialiser if any
//   eArraySize     children: the size expression, or none for []
//   eInitialiser   children: the expression or eInitList
//   eFunction      text: name; words: qualifiers; semantic: of the result;
//                  children: eType (result), eParameter..., then eBlock unless a prototype
//   eParameter     words: in, out, inout, uniform, const; children: eType, eDeclarator
//   eType          text: the type as written ("float4", "half", a struct's name)
//   eBlock         statements
//   eExpressionStatement  children: the expression, or none for ";"
//   eIf            children: condition, then, else (optional)
//   eFor           children: initialiser (a statement), condition, step, body;
//                  condition and step may be eEmpty
//   eWhile         children: condition, body;  eDo: body, condition
//   eSwitch        children: the value, the body (an eBlock holding eCase labels)
//   eCase          children: the label's value, or none for default
//   eReturn        children: the value, if any
//   eJump          text: break, continue or discard
//   eAsm           an assembly block
//   eName, eLiteral text: as written
//   eUnary         text: the operator; children: operand
//   ePostfix       text: ++ or --; children: operand
//   eBinary, eAssign  text: the operator; children: left, right
//   eConditional   children: condition, then, else
//   eCall          text: the function's name; children: arguments
//   eConstructor   children: eType, arguments
//   eMember        text: the member's name; children: the object
//   eIndex         children: the array, the index
//   eCast          children: eType, operand
//   eParenthesised children: the expression
//   eInitList      children: the items
struct CgNode
{
    enum eKind {
        eUnit, eStruct, eTypedef, eVariables, eDeclarator, eArraySize, eInitialiser, eFunction, eParameter, eType,
        eBlock, eExpressionStatement, eIf, eFor, eWhile, eDo, eSwitch, eCase, eReturn, eJump, eAsm, eEmpty,
        eName, eLiteral, eUnary, ePostfix, eBinary, eAssign, eConditional, eCall, eConstructor, eMember, eIndex,
        eCast, eParenthesised, eInitList
    };

    CgNode() = default;
    CgNode(eKind kind, std::string text, int line) : kind(kind), text(std::move(text)), line(line) {}

    eKind kind = eEmpty;
    std::string text;
    int line = 1;
    std::string semantic;
    std::vector<std::string> words;
    std::vector<CgNode> children;

    bool hasWord(const std::string& word) const
    {
        for (const std::string& each : words)
            if (each == word)
                return true;
        return false;
    }
    // Of a unit: the first definition (not a prototype) of the named function, or null.
    const CgNode* definition(const std::string& name) const
    {
        for (const CgNode& item : children)
            if (item.kind == eFunction && item.text == name && item.body())
                return &item;
        return nullptr;
    }
    // A function's body, or null for a prototype.
    const CgNode* body() const
    {
        return kind == eFunction && !children.empty() && children.back().kind == eBlock ? &children.back() : nullptr;
    }
};
