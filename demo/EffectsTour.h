#pragma once

// Effects and compute on one picture: an effect file's two techniques, the
// picture in 3D perspective with its projected corners marked, and a kernel
// over its pixels; saved as kvdemo-fx.png.
void effectsTour();
