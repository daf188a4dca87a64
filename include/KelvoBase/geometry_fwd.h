// Forward declarations of the small-geometry classes, for headers that only name them.
#pragma once

class T3dDblPoint;
class T4dDblPoint;
class T4dDblVector;
class T4dDblMatrix;
class TgenXformMatrix;
class Tscale;
class TxformMatrix;
class TpostXformMatrix;
class Tangle;
class Tquaternion;
class TunitQuaternion;
