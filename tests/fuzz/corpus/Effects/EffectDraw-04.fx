float Script : STANDARDSGLOBAL < string ScriptClass = "scene";
    string ScriptOrder = "postprocess"; string Script = "Technique=Technique?Main;"; > = 0.8;
float4 ClearColour < string UIWidget = "color"; > = {0, 0, 0, 0};
int Repeats = 1, Unused = 2 * 3;
texture Input, Scratch : RENDERCOLORTARGET < float2 ViewPortRatio = {1.0, 1.0}; string Format = ("A8R8G8B8"); >;
sampler2D InputSampler = sampler_state { Texture = <Input>; AddressU = Clamp; AddressV = Clamp; },
          ScratchSampler = sampler_state { Texture = <Scratch>; AddressU = Clamp; AddressV = Clamp; };
float4 Gain = float4(1, 1.0 / 2.0, 0.25, 1);
