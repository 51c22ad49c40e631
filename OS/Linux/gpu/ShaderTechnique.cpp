#include "ShaderTechnique.h"

ShaderTechnique::ShaderTechnique(const Kv::Ptr<iOpenGLShaderEffect>& effect,
                                 const LightweightString<char>& techniqueName)
    : effect(effect), techniqueName(techniqueName)
{
}

ShaderTechnique::ShaderTechnique(const ImageDescriptionEx& record)
    : effect(Kv::dynamicCast<iOpenGLShaderEffect>(record.effect)), techniqueName(record.techniqueName),
      technique(record.technique), params(record.params)
{
}

void ShaderTechnique::applyTo(ImageDescriptionEx& record) const
{
    record.effect = effect;
    record.techniqueName = techniqueName;
    record.technique = technique;
    record.params = params;
}

void ShaderTechnique::setupShader() const
{
    if (!effect)
        return;
    if (!techniqueName.empty())
        effect->setTechnique(techniqueName);
    else
        effect->setTechnique(technique);
    for (const Kv::Ptr<iShaderParamValue>& value : params)
        value->apply(effect);
}
