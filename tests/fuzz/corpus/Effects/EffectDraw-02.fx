texture Input;
sampler2D InputSampler = sampler_state { Texture = <Input>; AddressU = Clamp; AddressV = Clamp; };
texture Scratch : RENDERCOLORTARGET;
sampler2D ScratchSampler = sampler_state { Texture = <Scratch>; AddressU = Clamp; AddressV = Clamp; };
float4 Gain = {1, 0.5, 0.25, 1};
