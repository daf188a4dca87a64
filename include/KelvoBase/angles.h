// Tangle: an angle that is set in degrees, in radians or as a cosine and sine, and converts on
// demand.
//   1. A getter computes the form it needs once and keeps it inside the object. One object must not
//      be read by two threads at a time for that reason.
//   2. The double constructor takes DEGREES. An int argument is ambiguous between double and long:
//      write 90.0 or 90L.
//   3. Multiples of 15 degrees given as long come from a table, so that quarter turns have cosines
//      and sines of exactly 0 and 1.
//   4. Nothing here fails, and nothing is normalised: not the range of the angle (except in the
//      table path), not the length of a cosine and sine pair.
#pragma once

#include "KelvoBase/kelvo_api.h"

/// An angle of any size; a value, freely copied.
class KELVO_API Tangle {
  public:
    /// The zero angle, with all forms known.
    Tangle() : valid_(kAll), radians_(0.0), degrees_(0.0), cosine_(1.0), sine_(0.0) {}
    /// An angle of d degrees (not radians).
    Tangle(double d) : Tangle() { degrees(d); }
    /// As degrees(long).
    Tangle(long d) : Tangle() { degrees(d); }
    /// As setCosSin.
    Tangle(double c, double s) : Tangle() { setCosSin(c, s); }
    Tangle(const Tangle&) = default;
    Tangle& operator=(const Tangle&) = default;

    /// Sets the angle to r radians.
    void radians(double r) {
        radians_ = r;
        valid_ = kRadians;
    }
    /// Sets the angle to d degrees.
    void degrees(double d) {
        degrees_ = d;
        valid_ = kDegrees;
    }
    /// Sets the angle to d modulo 360 whole degrees, with the sign of d: 405 becomes 45, -31 stays.
    /// A multiple of 15 is brought into 0..345 and takes its cosine and sine from a table: exact
    /// zeros and ones at quarter turns, but sines of +0.5 or -0.5 at 60, 120, 240 and 300 degrees,
    /// which callers rely on. Use degrees(double) where the true sine of those is needed.
    void degrees(long d);
    /// Sets the angle by its cosine and sine, as given; they need not lie on the unit circle.
    void setCosSin(double c, double s) {
        cosine_ = c;
        sine_ = s;
        valid_ = kCosSin;
    }

    /// The angle in radians. From a cosine and sine: atan2, in -pi..pi.
    double radians() const {
        need(kRadians);
        return radians_;
    }
    /// The angle in degrees. From a cosine and sine: -180..180.
    double degrees() const {
        need(kDegrees);
        return degrees_;
    }
    double cos() const {
        need(kCosSin);
        return cosine_;
    }
    double sin() const {
        need(kCosSin);
        return sine_;
    }
    void getCosSin(double& c, double& s) const {
        need(kCosSin);
        c = cosine_;
        s = sine_;
    }

    /// Snaps the cosine and the sine, each for itself, to -1, 0 or 1 when it lies within 1e-5 of it
    /// (exclusive). Degrees and radians keep the value they had.
    void clamp();

  private:
    enum : int { kDegrees = 1, kRadians = 2, kCosSin = 4, kAll = 7 };

    void need(int form) const {
        if (!(valid_ & form)) evaluate(form);
    }
    void evaluate(int form) const;

    // Which of the forms below hold a value; the others are never read.
    mutable int valid_;
    mutable double radians_;
    mutable double degrees_;
    mutable double cosine_;
    mutable double sine_;
};
