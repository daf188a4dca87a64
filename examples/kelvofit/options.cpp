#include "options.h"

#include <KelvoBase/modelling_tolerances.h>
#include <getopt.h>

#include <charconv>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <limits>

#include "failure.h"
#include "readers.h"
#include "text_output.h"

namespace kelvo::fit {
namespace {

constexpr char kHelp[] =
    R"(kelvofit [options] INPUT

Fits smooth spline surfaces to points and shows how well they fit.

INPUT  FILE.patches        Bezier patches: sampled, fitted again, compared with the known ones
       FILE.xyz .obj .ply  at least 16 scattered points: one surface over their best plane

  -o, --out DIR        where the results go (default: INPUT's name with -fit, in this directory)
      --project DIR    work in a project in DIR instead: INPUT and models in its directory wire,
      --name NAME      pictures in pix, report and script in the project's directory NAME
  -t, --tolerance D    largest deviation wanted, in units of the input (default: 1/1000 of the
                       diagonal of the bounding box)
  -s, --max-spans N    most spans in each direction, 1 to %d (default: 30)
  -a, --axis x|y|z     look along this axis instead of across the best plane
      --method WAY     of the least squares: qr, cholesky (normal equations, fast for very many
                       points) or auto, which chooses (default)
  -n, --noise SIGMA    blur the points by this standard deviation, in units of the input
      --seed N         of the noise (default: 1)
      --samples N      a patch is sampled at N x N points, 4 to 100 (default: 10)
  -u, --unit NAME      unit of the input, for the labels of the picture
      --edit SCRIPT    edit the fitted control net; docs/kelvofit.md tells the script's language
      --turntable N    also draw N pictures of a whole turn, fit.0001.svg and so on, up to 1000
      --debug FILE     log what the program does; - is stderr
      --scratch        keep the large matrices of the fit in scratch memory, not on the heap
      --cache-dir DIR  keep fits there (default: kelvofit in the user's cache directory)
      --no-cache       compute the fit in any case, and do not keep it
  -q, --quiet          no progress
  -h, --help           this text
      --version        the version

Where the results are put; the figures stay in units of the input:
      --rotate AX AY AZ  turn by degrees, -360 to 360, about the x, the y, then the z axis
      --scale K          scale by 0.0001 to 10000
      --pivot X Y Z      the place that stays while they turn and scale (default: 0 0 0)
      --move X Y Z       then move
      --up y|z           the axis of the world that is up in the pictures

Results in DIR: surface.obj (mesh with normals), net.obj (control net), report.json, fit.svg.
Escape or Ctrl-C stops after the running iteration and keeps the best fit so far.
Exit code: 0 results written, 2 not (a sentence on stderr says why).
)";

enum LongOnly {
    kSeed = 256,
    kSamples,
    kVersion,
    kUp,
    kScale,
    kTurntable,
    kEdit,
    kDebug,
    kMethod,
    kScratch,
    kCacheDirectory,
    kNoCache,
    kProject,
    kName,
    kRotate,  // from here on: three values
    kMove,
    kPivot
};

constexpr option kLong[] = {{"out", required_argument, nullptr, 'o'},
                            {"tolerance", required_argument, nullptr, 't'},
                            {"max-spans", required_argument, nullptr, 's'},
                            {"axis", required_argument, nullptr, 'a'},
                            {"noise", required_argument, nullptr, 'n'},
                            {"seed", required_argument, nullptr, kSeed},
                            {"samples", required_argument, nullptr, kSamples},
                            {"unit", required_argument, nullptr, 'u'},
                            {"up", required_argument, nullptr, kUp},
                            {"rotate", required_argument, nullptr, kRotate},
                            {"scale", required_argument, nullptr, kScale},
                            {"move", required_argument, nullptr, kMove},
                            {"pivot", required_argument, nullptr, kPivot},
                            {"turntable", required_argument, nullptr, kTurntable},
                            {"edit", required_argument, nullptr, kEdit},
                            {"debug", required_argument, nullptr, kDebug},
                            {"method", required_argument, nullptr, kMethod},
                            {"project", required_argument, nullptr, kProject},
                            {"name", required_argument, nullptr, kName},
                            {"scratch", no_argument, nullptr, kScratch},
                            {"cache-dir", required_argument, nullptr, kCacheDirectory},
                            {"no-cache", no_argument, nullptr, kNoCache},
                            {"quiet", no_argument, nullptr, 'q'},
                            {"help", no_argument, nullptr, 'h'},
                            {"version", no_argument, nullptr, kVersion},
                            {}};

constexpr double kMost = 1e100;  // squares must not overflow

double real(const char* option, const char* text, bool zeroToo) {
    const std::optional<double> value = parseNumber(text);
    if (!value || !(*value >= 0 && *value <= kMost) || (*value == 0 && !zeroToo))
        throw Failure(std::string(option) + ": " + quoted(text) + " is not a " +
                      (zeroToo ? "number from 0 to 1e100" : "number above 0, up to 1e100"));
    return *value;
}

double between(const char* option, const char* text, double least, double most) {
    const std::optional<double> value = parseNumber(text);
    if (!value || !(*value >= least && *value <= most))
        throw Failure(std::string(option) + ": " + quoted(text) + " is not a number from " +
                      rounded(least, 6) + " to " + rounded(most, 6));
    return *value;
}

std::uint64_t whole(const char* option, const char* text, std::uint64_t least, std::uint64_t most) {
    const std::string_view view(text);
    std::uint64_t value = 0;
    const auto [stop, error] = std::from_chars(view.data(), view.data() + view.size(), value);
    if (error != std::errc() || stop != view.data() + view.size() || value < least || value > most)
        throw Failure(std::string(option) + ": " + quoted(text) + " is not a whole number from " +
                      std::to_string(least) + " to " + std::to_string(most));
    return value;
}

char upAxis(const char* text) {
    const std::string_view view(text);
    if (view == "y" || view == "z") return view[0];
    throw Failure("--up: " + quoted(text) + " is not y or z");
}

char axis(const char* text) {
    const std::string_view view(text);
    if (view == "x" || view == "y" || view == "z") return view[0];
    throw Failure("--axis: " + quoted(text) + " is not x, y or z");
}

Method method(const char* text) {
    const std::string_view view(text);
    if (view == "qr") return Method::kQr;
    if (view == "cholesky") return Method::kCholesky;
    if (view == "auto") return Method::kAuto;
    throw Failure("--method: " + quoted(text) + " is not qr, cholesky or auto");
}

std::string directory(const char* option, const char* text) {
    if (*text == '\0') throw Failure(std::string(option) + ": no directory given");
    return text;
}

std::string projectName(const std::string& text) {
    if (text.empty() || text == "." || text == ".." || text.find_first_of("/\\") != text.npos)
        throw Failure("--name: " + fit::quoted(text) + " is not a name of a directory");
    return text;
}

/// Which of the options that not every kind of input knows have been given.
struct Given {
    bool samples = false, maxSpans = false, axis = false, method = false;
};

void apply(int code, const char* text, Options& options, Given& given) {
    constexpr auto kAny = std::numeric_limits<std::uint64_t>::max();
    switch (code) {
        case 'o':
            options.out = directory("--out", text);
            break;
        case 't':
            options.tolerance = real("--tolerance", text, false);
            break;
        case 's':
            options.maxSpans = static_cast<int>(
                whole("--max-spans", text, 1, static_cast<std::uint64_t>(get_max_surf_spans())));
            given.maxSpans = true;
            break;
        case 'a':
            options.axis = axis(text);
            given.axis = true;
            break;
        case 'n':
            options.noise = real("--noise", text, true);
            break;
        case kSeed:
            options.seed = whole("--seed", text, 0, kAny);
            break;
        case kSamples:
            options.samples = static_cast<int>(whole("--samples", text, 4, 100));
            given.samples = true;
            break;
        case 'u':
            options.unit = text;
            break;
        case kUp:
            options.up = upAxis(text);
            break;
        case kScale:
            options.placement.scale = between("--scale", text, 1e-4, 1e4);
            break;
        case kTurntable:
            options.turntable = static_cast<int>(whole("--turntable", text, 1, 1000));
            break;
        case kEdit:
            options.edit = text;
            break;
        case kMethod:
            options.method = method(text);
            given.method = true;
            break;
        case kDebug:
            options.debug = text;
            break;
        case kProject:
            options.project = directory("--project", text);
            break;
        case kName:
            options.name = projectName(text);
            break;
        case kScratch:
            options.scratch = true;
            break;
        case kCacheDirectory:
            options.cacheDirectory = directory("--cache-dir", text);
            break;
        case kNoCache:
            options.noCache = true;
            break;
        case 'q':
            options.quiet = true;
            break;
        default:
            throw Failure("see kelvofit --help");  // getopt has said what is wrong
    }
}

/// `others` points behind the first value, and `left` says how many words there are from there on.
void applyTriple(int code, const char* first, char** others, int left, Placement& placement) {
    const char* option = code == kRotate ? "--rotate" : code == kMove ? "--move" : "--pivot";
    const double most = code == kRotate ? 360 : kMost;
    if (left < 2) throw Failure(std::string(option) + " needs three values");
    const double x = between(option, first, -most, most);
    const double y = between(option, others[0], -most, most);
    const double z = between(option, others[1], -most, most);
    (code == kRotate ? placement.rotate
     : code == kMove ? placement.move
                     : placement.pivot) = {x, y, z};
}

void check(const Options& options, const Given& given) {
    if (options.project.empty() != options.name.empty())
        throw Failure("--project and --name are of use together only");
    if (!options.project.empty() && !options.out.empty())
        throw Failure("--out is of no use with --project");
    if (options.noCache && !options.cacheDirectory.empty())
        throw Failure("--cache-dir is of no use with --no-cache");
    const bool patches = inputKind(options.input) == InputKind::kPatches;
    if (given.samples && !patches) throw Failure("--samples is of use with .patches only");
    if ((given.axis || given.maxSpans || options.scratch) && patches)
        throw Failure(std::string(given.axis       ? "--axis"
                                  : given.maxSpans ? "--max-spans"
                                                   : "--scratch") +
                      " is of no use with .patches");
    if (given.method && patches) throw Failure("--method is of no use with .patches");
}

std::string unknownOption(char** argv) {
    const std::string text = optopt > 0 && optopt < 256
                                 ? std::string("-") + static_cast<char>(optopt)
                                 : std::string(argv[optind - 1]);
    return text;
}

}  // namespace

Options parseOptions(int argc, char** argv) {
    Options options;
    Given given;
    opterr = 0;  // one sentence, ours
    for (int code; (code = getopt_long(argc, argv, ":o:t:s:a:n:u:qh", kLong, nullptr)) != -1;) {
        if (code == 'h' || code == kVersion) {
            if (code == 'h')
                std::printf(kHelp, get_max_surf_spans());
            else
                std::printf("kelvofit %s\n", KELVOFIT_VERSION);
            options.done = true;
            return options;
        }
        if (code == ':') throw Failure(std::string(argv[optind - 1]) + " needs a value");
        if (code == '?')
            throw Failure("unknown option " + unknownOption(argv) + "; see kelvofit --help");
        if (code >= kRotate) {
            // getopt has taken the first value; it goes on behind the third.
            applyTriple(code, optarg, argv + optind, argc - optind, options.placement);
            optind += 2;
            continue;
        }
        apply(code, optarg, options, given);
    }
    if (optind == argc) throw Failure("no input given; see kelvofit --help");
    if (optind + 1 < argc) throw Failure("more than one input given: " + quoted(argv[optind + 1]));
    options.input = argv[optind];
    if (options.input.empty()) throw Failure("no input given; see kelvofit --help");
    check(options, given);
    if (options.out.empty())
        options.out = std::filesystem::path(options.input).stem().string() + "-fit";
    return options;
}

}  // namespace kelvo::fit
