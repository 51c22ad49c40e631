sampler2D s = sampler_state {
 AddressU = Sideways;
};
