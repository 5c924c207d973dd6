#pragma once

// The stick's trigonometry comes from a coarse 10-degree table with linear interpolation, not from the
// maths library. The coarseness is part of how the springs feel and is kept on purpose.

// Sine of an angle in degrees. Any finite angle is accepted; NaN and +-inf give NaN.
float tableSin(float degrees);

// tableSin(degrees + 90).
float tableCos(float degrees);
