// Regular expressions. libKelvoBase carries Boost.Regex for its callers; nothing here is our own.
//   1. C++ classes for narrow and wide text, from <boost/regex.hpp>: boost::regex, boost::wregex,
//      boost::smatch, boost::regex_search, boost::regex_replace and their family. Patterns are Perl
//      syntax unless a flag says otherwise; a bad pattern throws boost::regex_error.
//   2. POSIX-style entry points, from <boost/cregex.hpp>: boost::regcompA, regexecA, regerrorA and
//      regfreeA for char, regcompW, regexecW, regerrorW and regfreeW for wchar_t. They have C
//      linkage, so a program that has loaded libKelvoBase.so finds each by its plain name. They
//      return 0 or a REG_ code and never throw. Every expression that regcomp has filled, and only
//      such a one, goes to regfree of the same width.
//
// The second header also defines macros of the POSIX names (regcomp, regexec, regfree, regerror,
// regex_t). Do not include the system's <regex.h> beside this one.
#pragma once

#include <boost/cregex.hpp>
#include <boost/regex.hpp>
