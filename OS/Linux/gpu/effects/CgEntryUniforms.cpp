#include "CgEntryUniforms.h"

#include "CgParser.h"
#include "EffectParser.h"

#include <algorithm>

namespace {

class Flattener
{
public:
    Flattener(const CgNode& unit, GLSLEffectPass::Parameters& parameters) : unit_(unit), parameters_(parameters) {}

    void add(const std::string& typeName, const CgNode& declarator, const std::string& prefix, int depth = 0)
    {
        const std::string name = prefix + declarator.text;
        const bool known = std::any_of(parameters_.begin(), parameters_.end(),
                                       [&](const auto& parameter) { return parameter->name() == name; });
        // OpenGL state is read by the program itself.
        if (known || depth > 8 || declarator.semantic.rfind("state.", 0) == 0)
            return;
        if (const CgNode* structNode = structNamed(typeName)) {
            for (const CgNode& member : structNode->children)
                for (std::size_t index = 1; index < member.children.size(); ++index)
                    add(member.children[0].text, member.children[index], name + ".", depth + 1);
            return;
        }
        if (typeName.rfind("sampler", 0) == 0) {
            EffectSampler sampler;
            sampler.name = name;
            sampler.typeName = typeName;
            sampler.semantic = declarator.semantic;
            sampler.location.line = unsigned(declarator.line);
            parameters_.push_back(std::make_unique<GLSLEffectParameter>(sampler));
            return;
        }
        EffectParameter parameter;
        parameter.name = name;
        parameter.type = EffectParser::typeNamed(typeName);
        parameter.semantic = declarator.semantic;
        parameter.isUniform = true;
        parameter.location.line = unsigned(declarator.line);
        for (const CgNode& size : declarator.children)
            if (size.kind == CgNode::eArraySize)
                parameter.arraySizes.push_back(size.children.empty() || size.children[0].kind != CgNode::eLiteral
                                                   ? 1u
                                                   : unsigned(std::strtoul(size.children[0].text.c_str(), nullptr, 0)));
        if (parameter.type.base != EffectType::eOther && parameter.type.base != EffectType::eString)
            parameters_.push_back(std::make_unique<GLSLEffectParameter>(parameter));
    }

private:
    const CgNode* structNamed(const std::string& name) const
    {
        for (const CgNode& item : unit_.children)
            if (item.kind == CgNode::eStruct && item.text == name)
                return &item;
        return nullptr;
    }

    const CgNode& unit_;
    GLSLEffectPass::Parameters& parameters_;
};

} // namespace

void CgEntryUniforms::appendTo(const EffectModel& model, GLSLEffectPass::Parameters& parameters)
{
    // Most effects bind no uniform of an entry: then nothing needs the Cg parsed again.
    const auto hasUnbound = [&](const EffectShaderBinding& binding) {
        return std::any_of(model.functions.begin(), model.functions.end(), [&](const EffectFunction& function) {
            return function.name == binding.entry &&
                   std::size_t(std::count_if(function.parameters.begin(), function.parameters.end(),
                                             [](const EffectFunctionParameter& parameter) { return parameter.isUniform; })) >
                       binding.arguments.size();
        });
    };
    bool any = false;
    for (const EffectTechnique& technique : model.techniques)
        for (const EffectPass& pass : technique.passes)
            any = any || std::any_of(pass.shaders.begin(), pass.shaders.end(), hasUnbound);
    if (!any)
        return;
    std::string source;
    for (const EffectDeclaration& declaration : model.declarations)
        source += declaration.text + "\n";
    const CgParser::Result parsed = CgParser::parse(source);
    Flattener flattener(parsed.unit, parameters);
    for (const EffectTechnique& technique : model.techniques)
        for (const EffectPass& pass : technique.passes)
            for (const EffectShaderBinding& binding : pass.shaders) {
                const CgNode* entry = parsed.unit.definition(binding.entry);
                if (!entry)
                    continue;
                std::size_t bound = 0;
                for (const CgNode& parameter : entry->children)
                    if (parameter.kind == CgNode::eParameter && parameter.hasWord("uniform") &&
                        bound++ >= binding.arguments.size())
                        flattener.add(parameter.children[0].text, parameter.children[1], {});
            }
}
