#pragma once

#include "CgSyntax.h"

#include <map>
#include <set>
#include <string>
#include <vector>

// Writes a Cg syntax tree as the HLSL that glslang's DX9-compatible front end
// takes, in one walk over the tree, for one entry function:
//
// - Cg names that HLSL or GLSL reserves (texture, sampler, pass, vector, line,
//   input...) get the prefix "kvcg_"; cgNames() maps them back.
// - fixed and half are float; samplerRECT and sampler1DARRAY are sampler2D,
//   sampler2DARRAY is sampler3D (substitutedSamplers() lists those uniforms,
//   for the GLSL to declare and sample them as what they are).
// - Cg library functions that HLSL lacks or spells differently call
//   CgLibrary's helpers (libraryCalls()), unless the code defines its own.
// - The entry's uniform parameters are globals; those that `compile` binds,
//   in order, are the global the argument names (a sampler, say) or a local
//   holding the argument's value.
// - A uniform that the code assigns gets a writable copy, filled from the
//   uniform at the entry's start; writtenUniforms() lists them.
// - For GLSL 1.20, bool uniforms are declared int (boolUniforms()).
// - OpenGL state that the code reads (glstate.matrix.mvp, a uniform with the
//   semantic state.light[0].diffuse) is a uniform listed in stateUniforms().
// - Only the functions the entry reaches are written; an assembly block in
//   one of them is an error. Of overloads that differ only in half or fixed
//   against float, the first body is written.
//
// Every token stays on its source line, so glslang's line numbers are the
// author's.
class CgHlslWriter
{
public:
    struct Error
    {
        int line;
        std::string message;
    };

    CgHlslWriter(const CgNode& unit, const std::string& entry, const std::vector<std::string>& arguments,
                 bool boolUniformsAsInt);

    bool run();

    const std::string& text() const { return text_; }
    const std::vector<Error>& errors() const { return errors_; }
    const std::string& entryName() const { return entryName_; }
    int entryLine() const { return entryFunction_ ? entryFunction_->line : 1; }
    const std::map<std::string, std::string>& cgNames() const { return cgNames_; }
    // Uniforms of samplers that HLSL lacks (samplerRECT, sampler2DARRAY...),
    // declared as the HLSL sampler of as many coordinates: Cg name to the
    // GLSL sampler type they are.
    const std::map<std::string, std::string>& substitutedSamplers() const { return substitutedSamplers_; }
    // Cg library functions the code calls through CgLibrary's helpers.
    const std::set<std::string>& libraryCalls() const { return libraryCalls_; }
    const std::vector<std::string>& writtenUniforms() const { return writtenUniforms_; }
    const std::set<std::string>& boolUniforms() const { return boolUniforms_; }
    // Uniforms that stand for OpenGL state (glstate.matrix.mvp, or a
    // semantic such as state.matrix.mvp): HLSL name to the GLSL that reads it.
    const std::map<std::string, std::string>& stateUniforms() const { return stateUniforms_; }

    // The HLSL name of a Cg name.
    static std::string hlslName(const std::string& cgName);
    // The name a uniform has in the GLSL: its Cg name, unless GLSL reserves
    // the word (half, input, switch...).
    static std::string glslUniformName(const std::string& cgName);
    // Its inverse: the Cg name of a uniform of the GLSL.
    static std::string cgUniformName(const std::string& glslName);

private:
    void findEntry();
    void findReachableFunctions();
    void findWrittenUniforms();
    bool definesFunction(const std::string& cgName) const;
    bool isFloat(const CgNode& expression) const;
    std::string statePath(const CgNode& expression) const;

    void writeItem(const CgNode& item);
    void writeEntryGlobals();
    void bindArgument(const CgNode& parameter, const std::string& argument);
    void writeUniform(const CgNode& type, const CgNode& declarator);
    void writeVariables(const CgNode& variables);
    void writeDeclarator(const CgNode& declarator);
    void writeFunction(const CgNode& function);
    void writeStatement(const CgNode& statement);
    void writeExpression(const CgNode& expression);
    void writeControl(const CgNode& statement, const std::string& keyword);
    bool writeState(const CgNode& expression);
    void writeList(const std::vector<CgNode>& items, std::size_t first);

    std::string name(const std::string& cgName);
    std::string typeText(const std::string& cgType) const;
    std::string arraySuffix(const CgNode& declarator);
    // An expression as text of its own, outside the line-keeping output.
    std::string detachedText(const CgNode& expression);
    void put(int line, const std::string& token);

    const CgNode& unit_;
    std::string entry_;
    const std::vector<std::string>& arguments_;
    bool boolUniformsAsInt_;

    const CgNode* entryFunction_ = nullptr;
    std::set<std::string> reachable_;
    std::set<std::string> uniforms_; // Cg names of the uniforms, the entry's included
    std::string entryPrologue_;
    std::string stateDeclarations_;
    // Statics whose initialisers call functions take their values at the entry's start.
    bool deferInitialisers_ = false;
    std::string staticInitialisers_;
    std::set<std::string> definedSignatures_;
    std::map<std::string, std::string> boundNames_; // entry parameter to the global that compile binds to it
    bool writingEntry_ = false;
    std::map<std::string, std::string> globalTypes_; // Cg name to Cg type
    std::map<std::string, std::string> localTypes_;  // of the function being written

    std::string text_;
    int line_ = 1;
    bool detached_ = false;
    std::vector<Error> errors_;
    std::string entryName_;
    std::map<std::string, std::string> cgNames_;
    std::map<std::string, std::string> substitutedSamplers_;
    std::set<std::string> libraryCalls_;
    std::vector<std::string> writtenUniforms_;
    std::set<std::string> boolUniforms_;
    std::map<std::string, std::string> stateUniforms_;
    std::map<std::string, std::string> statePathNames_; // "matrix.mvp" to its uniform's name
};
