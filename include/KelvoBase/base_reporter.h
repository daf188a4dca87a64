// Progress of long numerical operations, for the user's status line.
//   1. Every text starts with the name of the running option (the command), at most 11 characters
//      of it.
//   2. A reporter is silent unless it was made loud. Abort key and pause work either way.
//   3. The order of the virtual functions is part of the binary interface: append, never insert.
#pragma once

#include "KelvoBase/kelvo_api.h"

/// Reports on standard terms; an application derives its own to show them elsewhere.
class KELVO_API TbaseReporter {
  public:
    /// No name, silent.
    TbaseReporter();
    /// Keeps the first 11 characters of `name` (null: none). Any `loud` but 0 lets reports through.
    TbaseReporter(const char* name, int loud);
    TbaseReporter(const TbaseReporter& other);
    TbaseReporter& operator=(const TbaseReporter& other);
    virtual ~TbaseReporter();

    /// Tells the user (rptUser, not the status line) what tolerance iteration `iteration` reached.
    /// Unless `achieved` is below `requested`, the text says that Escape stops; equality counts as
    /// not reached.
    virtual void tolReport(int iteration, double achieved, double requested) const;

    /// 0 when silent.
    int loud() const;
    /// The same, for writing.
    int& loud();

    /// 1 when the user has asked to stop (Escape), else 0. Ask once in every iteration.
    int quit() const;
    /// Pauses, and returns its argument.
    unsigned sleep(unsigned milliseconds) const;

    /// Reports a fit: `deviation` is the largest one relative to the tolerance, 1.0 being just
    /// within it, and (x, y) is where it lies. A deviation of at most 1e-9 in size is shown without
    /// a place. While it is 1.0 or more and iterations remain, the text says that Escape stops.
    void toleranceReport(int iteration, int max_iterations, double x, double y,
                         double deviation) const;
    /// Reports how much of a constraint problem is solved: `fraction` 0.257 reads 25.7%.
    void percentageReport(double fraction) const;
    /// Reports the running iteration of a constraint problem.
    void iterationsReport(int iteration) const;
    /// Reports that memory ran out.
    void noMemoryReport() const;

  protected:
    /// Replaces the name by the first 11 characters of `name` (null: none).
    void setOptionName(const char* name);

  private:
    char name_[12];  // terminated
    int loud_;
};
