// Regular expressions. libKelvoBase carries Boost.Regex for its callers; nothing here is our own.
//   1. C++ classes for narrow and wide text, from <boost/regex.hpp>: boost::regex, boost::wregex,
//      boost::smatch, boost::regex_search, boost::regex_replace and their family. Patterns are Perl
//      syntax unless a flag says otherwise; a bad pattern throws boost::regex_error.
//   2. POSIX-style entry points, from <boost/cregex.hpp>: boost::regcompA, regexecA, regerrorA and
//      regfreeA for char, regcompW, regexecW, regerrorW and regfreeW for wchar_t. They have C
//      linkage, so a program that has loaded libKelvoBase.so finds each by its plain name. They
//      return 0 or an error code and never throw. What regcomp has filled with success goes to
//      regfree of the same width.
//   3. Flags and codes are boost::REG_EXTENDED, boost::REG_NOMATCH and so on. The names without A
//      or W (regcomp, regex_t) stay free for the system's <regex.h>, which may come before or after
//      this header. Its macros hide boost's constants, whose values differ (REG_NOSUB,
//      REG_NEWLINE): do not use both interfaces in one source file.
#pragma once

#include <boost/regex.hpp>

// <boost/cregex.hpp> declares constants by names that <regex.h> defines as macros, and defines
// macros by names that <regex.h> declares. All of them are put aside while it is read.
#pragma push_macro("REG_EXTENDED")
#pragma push_macro("REG_ICASE")
#pragma push_macro("REG_NEWLINE")
#pragma push_macro("REG_NOSUB")
#pragma push_macro("REG_NOTBOL")
#pragma push_macro("REG_NOTEOL")
#pragma push_macro("REG_STARTEND")
#pragma push_macro("REG_NOERROR")
#pragma push_macro("REG_NOMATCH")
#pragma push_macro("REG_BADPAT")
#pragma push_macro("REG_ECOLLATE")
#pragma push_macro("REG_ECTYPE")
#pragma push_macro("REG_EESCAPE")
#pragma push_macro("REG_ESUBREG")
#pragma push_macro("REG_EBRACK")
#pragma push_macro("REG_EPAREN")
#pragma push_macro("REG_EBRACE")
#pragma push_macro("REG_BADBR")
#pragma push_macro("REG_ERANGE")
#pragma push_macro("REG_ESPACE")
#pragma push_macro("REG_BADRPT")
#pragma push_macro("REG_EEND")
#pragma push_macro("REG_ESIZE")
#pragma push_macro("REG_ERPAREN")
#pragma push_macro("REG_ENOSYS")
#pragma push_macro("regcomp")
#pragma push_macro("regexec")
#pragma push_macro("regerror")
#pragma push_macro("regfree")
#pragma push_macro("regex_t")
#undef REG_EXTENDED
#undef REG_ICASE
#undef REG_NEWLINE
#undef REG_NOSUB
#undef REG_NOTBOL
#undef REG_NOTEOL
#undef REG_STARTEND
#undef REG_NOERROR
#undef REG_NOMATCH
#undef REG_BADPAT
#undef REG_ECOLLATE
#undef REG_ECTYPE
#undef REG_EESCAPE
#undef REG_ESUBREG
#undef REG_EBRACK
#undef REG_EPAREN
#undef REG_EBRACE
#undef REG_BADBR
#undef REG_ERANGE
#undef REG_ESPACE
#undef REG_BADRPT
#undef REG_EEND
#undef REG_ESIZE
#undef REG_ERPAREN
#undef REG_ENOSYS
#undef regcomp
#undef regexec
#undef regerror
#undef regfree
#undef regex_t

#include <boost/cregex.hpp>

#undef regcomp
#undef regexec
#undef regerror
#undef regfree
#undef regex_t
#pragma pop_macro("REG_EXTENDED")
#pragma pop_macro("REG_ICASE")
#pragma pop_macro("REG_NEWLINE")
#pragma pop_macro("REG_NOSUB")
#pragma pop_macro("REG_NOTBOL")
#pragma pop_macro("REG_NOTEOL")
#pragma pop_macro("REG_STARTEND")
#pragma pop_macro("REG_NOERROR")
#pragma pop_macro("REG_NOMATCH")
#pragma pop_macro("REG_BADPAT")
#pragma pop_macro("REG_ECOLLATE")
#pragma pop_macro("REG_ECTYPE")
#pragma pop_macro("REG_EESCAPE")
#pragma pop_macro("REG_ESUBREG")
#pragma pop_macro("REG_EBRACK")
#pragma pop_macro("REG_EPAREN")
#pragma pop_macro("REG_EBRACE")
#pragma pop_macro("REG_BADBR")
#pragma pop_macro("REG_ERANGE")
#pragma pop_macro("REG_ESPACE")
#pragma pop_macro("REG_BADRPT")
#pragma pop_macro("REG_EEND")
#pragma pop_macro("REG_ESIZE")
#pragma pop_macro("REG_ERPAREN")
#pragma pop_macro("REG_ENOSYS")
#pragma pop_macro("regcomp")
#pragma pop_macro("regexec")
#pragma pop_macro("regerror")
#pragma pop_macro("regfree")
#pragma pop_macro("regex_t")
