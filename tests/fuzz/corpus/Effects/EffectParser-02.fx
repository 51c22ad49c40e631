texture source : INPUT < string Resource = "clip"; >;
sampler2D sourceSampler = sampler_state {
    Texture = <source>;
    AddressU = Clamp;
    AddressV = Mirror;
    MinFilter = Linear;
    MagFilter = Point;
    MipFilter = None;
};
samplerRECT plain;
