texture Noise < string TextureType = "VOLUME"; string function = "GenerateNoise";
    string UIName = "Gain" " level"; float UIMin = -1.5;
    int width = 64, height = 64, depth = 2 * 32; >;
texture Scene : RENDERCOLORTARGET < float2 ViewPortRatio = {1.0, 1.0};
    float2 Dimensions = {256, 256}; string Format = ("A8R8G8B8");
    bool Shown = 1; bool3 Mask = {true, 0, 1}; half Step = 1.0 / 4;
    int2 Size = int2(3.5, 4); >;
