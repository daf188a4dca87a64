// What could break here: fits that are not what was measured, holes that blow up, folds that go
// unnoticed or are seen in noise, files that other programs cannot read.
#include <random>

#include "program.h"
#include "tests/support/test.h"

namespace kelvo::test {
namespace {

struct Point {
    double x, y, z;
};

std::string xyz(const std::vector<Point>& points) {
    std::ostringstream text;
    text.precision(17);
    for (const Point& p : points) text << p.x << ' ' << p.y << ' ' << p.z << '\n';
    return text.str();
}

/// An OBJ file as far as a viewer needs it, every index checked.
struct ObjFile {
    std::vector<Point> points, normals;
    std::size_t faces = 0, lines = 0, filled = 0;
};

ObjFile readObj(const std::string& text) {
    ObjFile obj;
    std::istringstream in(text);
    bool filled = false;
    for (std::string line; std::getline(in, line);) {
        std::istringstream words(line);
        std::string key, word;
        words >> key;
        Point p{};
        if (key == "v" || key == "vn") {
            EXPECT_TRUE(words >> p.x >> p.y >> p.z) << line;
            (key == "v" ? obj.points : obj.normals).push_back(p);
        } else if (key == "g") {
            filled = line == "g filled";
        } else if (key == "f" || key == "l") {
            std::size_t corners = 0;
            for (; words >> word; ++corners) {
                const auto index = std::stoul(word);
                EXPECT_TRUE(index >= 1 && index <= obj.points.size()) << line;
                const std::string number = std::to_string(index);
                EXPECT_EQ(word, key == "f" ? number + "//" + number : number);
            }
            EXPECT_GE(corners, key == "f" ? 3U : 2U);
            ++(key == "f" ? obj.faces : obj.lines);
            if (key == "f" && filled) ++obj.filled;
        } else {
            EXPECT_TRUE(key == "#" || key == "o") << line;
        }
    }
    return obj;
}

/// Whether an XML text's tags nest; texts and attributes hold no bare & or <.
::testing::AssertionResult wellFormed(const std::string& xml) {
    Names open;
    std::size_t at = 0;
    const auto fail = [&](const char* what) {
        return ::testing::AssertionFailure() << what << " at " << at << ": " << xml.substr(at, 60);
    };
    while ((at = xml.find_first_of("<&", at)) != std::string::npos) {
        if (xml[at] == '&') {
            const std::size_t end = xml.find(';', at);
            const std::string name = xml.substr(at + 1, end - at - 1);
            if (name != "amp" && name != "lt" && name != "gt" && name != "quot")
                return fail("unknown entity");
            at = end;
            continue;
        }
        const std::size_t end = xml.find('>', at);
        if (end == std::string::npos) return fail("tag without end");
        const std::string tag = xml.substr(at + 1, end - at - 1);
        const std::string name = tag.substr(0, tag.find_first_of(" /\n", 1));
        if (tag.find('<') != std::string::npos) return fail("< in a tag");
        if (std::count(tag.begin(), tag.end(), '"') % 2 != 0) return fail("odd quotes");
        if (tag[0] == '/') {
            if (open.empty() || "/" + open.back() != tag) return fail("wrong end");
            open.pop_back();
        } else if (tag[0] != '?' && tag.back() != '/') {
            open.push_back(name);
        }
        at = end;
    }
    return open.empty() ? ::testing::AssertionSuccess()
                        : ::testing::AssertionFailure() << open.back() << " left open";
}

/// Points over 3 x 2 with a round hole and a missing corner, blurred in height.
std::vector<Point> landscape(int count, double sigma) {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> x(0, 3), y(0, 2);
    std::normal_distribution<double> blur(0, 1);
    std::vector<Point> points;
    while (static_cast<int>(points.size()) < count) {
        const Point p{x(random), y(random), 0};
        if (std::hypot(p.x - 1.9, p.y - 1.1) < 0.4 || (p.x < 0.5 && p.y < 0.4)) continue;
        points.push_back(
            {p.x, p.y, 0.35 * std::sin(2.2 * p.x) * std::cos(1.7 * p.y) + sigma * blur(random)});
    }
    return points;
}

TEST(KelvofitPatches, TheTeapotIsRecoveredToTheLastDigits) {
    const Bench bench;
    const Json report = bench.fit("out", {kTeapot});
    EXPECT_EQ(32, report["fit"]["fitted"].number);
    EXPECT_EQ(32U, report["fit"]["control_point_errors"].items.size());
    EXPECT_EQ(32 * 16, report["fit"]["rank"].number);
    EXPECT_EQ(0, report["fit"]["free_columns"].number);
    EXPECT_LT(report["fit"]["largest_control_point_error"].number, 1e-10);
    EXPECT_LT(report["deviation"]["at_parameter"]["largest"].number, 1e-10);
    EXPECT_EQ(3200, report["input"]["points"].number);

    // Four patches have an edge that is one point: triangles there, and normals everywhere.
    const ObjFile mesh = readObj(bench.read("out/surface.obj"));
    ASSERT_EQ(mesh.points.size(), mesh.normals.size());
    std::size_t outwards = 0;
    for (std::size_t k = 0; k < mesh.points.size(); ++k) {
        const Point &p = mesh.points[k], &n = mesh.normals[k];
        EXPECT_NEAR(1, n.x * n.x + n.y * n.y + n.z * n.z, 1e-5);
        outwards += p.x * n.x + p.y * n.y + (p.z - 1.2) * n.z > 0 ? 1 : 0;
    }
    EXPECT_GT(static_cast<double>(outwards), 0.7 * static_cast<double>(mesh.points.size()));
    EXPECT_EQ(mesh.faces, 32U * 12 * 12);
    const ObjFile net = readObj(bench.read("out/net.obj"));
    EXPECT_EQ(32U * 16, net.points.size());
    EXPECT_EQ(32U * 8, net.lines);

    // The net holds the control points that the file gave, in the order of the patches.
    EXPECT_NEAR(1.4, net.points[0].x, 1e-12);
    EXPECT_NEAR(2.4, net.points[0].z, 1e-12);
}

TEST(KelvofitPatches, NoiseIsRepeatableAndOfTheSizeAskedFor) {
    const Bench bench;
    const auto run = [&](const char* seed, const char* out) {
        return bench.fit(out, {"--noise", "0.01", "--samples", "20", "--seed", seed, kTeapot});
    };
    const Json first = run("5", "a"), again = run("5", "b"), other = run("6", "c");
    const auto error = [](const Json& r) { return r["fit"]["largest_control_point_error"].number; };
    EXPECT_EQ(error(first), error(again));
    EXPECT_NE(error(first), error(other));
    EXPECT_EQ(bench.read("a/surface.obj"), bench.read("b/surface.obj"));
    // Three coordinates of standard deviation 0.01, less what 16 of 400 coefficients take up.
    const double expected = 0.01 * std::sqrt(3 * (400.0 - 16) / 400);
    EXPECT_NEAR(expected, first["deviation"]["at_parameter"]["rms"].number, 0.03 * expected);
    EXPECT_GT(error(first), 0.002);
    EXPECT_LT(error(first), 0.2);
}

TEST(KelvofitPatches, PatchesFarFromTheOriginKeepTheirDigits) {
    const Bench bench;
    std::ostringstream text;
    text.precision(17);
    for (int k = 0; k < 16; ++k)
        text << "v " << 4e6 + k / 4 << ' ' << -5e6 + k % 4 << ' ' << 0.125 * (k % 3) << '\n';
    text << "p 0 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15\n";
    bench.write("a.patches", text.str());
    bench.fit("out", {"a.patches"});
    // Half a unit in the last place of 5e6, times what the samples leave of it.
    EXPECT_LT(bench.report("out")["fit"]["largest_control_point_error"].number, 2e-8);
}

TEST(KelvofitScattered, NoiseStopsTheRefinementAndHolesAreFilledSmoothly) {
    constexpr double kSigma = 0.004;
    const Bench bench;
    bench.write("a.xyz", xyz(landscape(6000, kSigma)));
    const Json report = bench.fit("out", {"-t", "1e-6", "a.xyz"});
    const Json& fit = report["fit"];
    EXPECT_EQ("refining no longer helps", report["status"].string);
    EXPECT_LT(fit["u_spans"].number, 20);
    EXPECT_LT(fit["v_spans"].number, 20);
    // What is left is the noise: within 3 % for this many points.
    EXPECT_NEAR(kSigma, fit["noise_estimate"].number, 0.03 * kSigma);
    EXPECT_EQ(Json::kFalse, report["folds"]["found"].kind);
    const ObjFile mesh = readObj(bench.read("out/surface.obj"));
    EXPECT_GT(mesh.filled, 20U);
    EXPECT_LT(mesh.filled, mesh.faces / 5);
    for (const Point& p : mesh.points) EXPECT_LT(std::abs(p.z), 0.5) << "at " << p.x << ", " << p.y;
}

TEST(KelvofitScattered, FewNoisyPointsAreNotFollowed) {
    std::mt19937 random(4);
    std::uniform_real_distribution<double> place(0, 1);
    std::normal_distribution<double> height(0, 0.05);
    std::vector<Point> points;
    for (int k = 0; k < 150; ++k) points.push_back({place(random), place(random), height(random)});
    const Bench bench;
    bench.write("a.xyz", xyz(points));
    const Json report = bench.fit("out", {"a.xyz"});
    EXPECT_EQ("refining no longer helps", report["status"].string);
    EXPECT_LE(report["fit"]["coefficients"].number, 25);
}

TEST(KelvofitScattered, EmptyRegionsLeaveFreeColumnsAndTheRestIsFitted) {
    const Bench bench;
    bench.write("a.xyz", xyz(landscape(6000, 0)));
    const Json report = bench.fit("out", {"-t", "5e-5", "a.xyz"});
    const Json& fit = report["fit"];
    EXPECT_EQ("tolerance reached", report["status"].string);
    EXPECT_GT(fit["free_columns"].number, 0);
    EXPECT_EQ(fit["coefficients"].number, fit["rank"].number + fit["free_columns"].number);
    EXPECT_GE(fit["weak_columns"].number, fit["free_columns"].number);
    EXPECT_LT(report["deviation"]["at_parameter"]["largest"].number, 5e-5);
    EXPECT_LE(report["deviation"]["to_surface"]["largest"].number,
              report["deviation"]["at_parameter"]["largest"].number);
    const ObjFile mesh = readObj(bench.read("out/surface.obj"));
    for (const Point& p : mesh.points)
        EXPECT_NEAR(0.35 * std::sin(2.2 * p.x) * std::cos(1.7 * p.y), p.z, 0.12)
            << "at " << p.x << ", " << p.y;
}

TEST(KelvofitScattered, DefaultsAndLimitsHold) {
    const Bench bench;
    bench.write("a.xyz", xyz(landscape(2000, 0)));
    Json report = bench.fit("out", {"a.xyz"});
    const double diagonal = report["input"]["diagonal"].number;
    EXPECT_NEAR(diagonal / 1000, report["deviation"]["tolerance"].number, 1e-12);
    EXPECT_EQ(Json::kTrue, report["deviation"]["within_tolerance"].kind);
    report = bench.fit("out", {"-t", "1e-9", "-s", "3", "a.xyz"});
    EXPECT_EQ("span limit reached", report["status"].string);
    EXPECT_EQ(3, report["fit"]["u_spans"].number);
    EXPECT_EQ(3, report["fit"]["v_spans"].number);
    report = bench.fit("out", {"-a", "z", "a.xyz"});
    EXPECT_EQ(1, report["frame"]["normal"].items[2].number);
    EXPECT_EQ(1, report["frame"]["u_axis"].items[0].number);
}

TEST(KelvofitScattered, EveryMethodFindsTheSameSurface) {
    const Bench bench;
    std::mt19937 random(3);
    std::uniform_real_distribution<double> x(0, 3), y(0, 2);
    std::vector<Point> full, thin;  // thin: a corner with a few points only, where the net is weak
    while (full.size() < 8000) {
        const double u = x(random), v = y(random);
        const Point p{u, v, 0.35 * std::sin(2.2 * u) * std::cos(1.7 * v)};
        full.push_back(p);
        if (u > 0.5 || v > 0.34 || full.size() % 12 == 0) thin.push_back(p);
    }
    bench.write("full.xyz", xyz(full));
    bench.write("thin.xyz", xyz(thin));
    bench.write("holes.xyz", xyz(landscape(6000, 0)));
    const struct {
        const char *input, *method, *used;
        bool weak;
    } kRows[] = {{"full.xyz", "qr", "qr", false},
                 {"full.xyz", "cholesky", "cholesky", false},
                 {"full.xyz", "auto", "cholesky", false},
                 {"thin.xyz", "qr", "qr", true},
                 {"thin.xyz", "cholesky", "cholesky", true},
                 {"holes.xyz", "qr", "qr", true},
                 {"holes.xyz", "cholesky", "qr", true}};  // columns without points
    std::vector<Point> net;
    for (const auto& row : kRows) {
        SCOPED_TRACE(testing::Message() << row.input << " " << row.method);
        const Json fit =
            bench.fit("out", {"-t", "1e-5", "-s", "12", "--method", row.method, row.input})["fit"];
        EXPECT_EQ(row.used, fit["method"].string);
        EXPECT_EQ(row.weak, fit["weak_columns"].number > 0);
        if (std::string(row.used) == "cholesky") {
            EXPECT_GT(fit["normal_condition"].number, 10);
            EXPECT_LT(fit["normal_condition"].number, 1e11);
        }
        const std::vector<Point> found = readObj(bench.read("out/net.obj")).points;
        if (std::string(row.method) == "qr") net = found;
        ASSERT_EQ(net.size(), found.size());
        for (std::size_t k = 0; k < net.size(); ++k) EXPECT_NEAR(net[k].z, found[k].z, 1e-11) << k;
    }
}

TEST(KelvofitScattered, FlatAndFewPointsAreFittedExactly) {
    const Bench bench;
    std::vector<Point> few = landscape(16, 0), flat;
    for (const Point& p : landscape(300, 0)) flat.push_back({p.x, p.y, 2 * p.x - p.y + 100});
    std::vector<Point> thrice = few;
    for (int k = 0; k < 2; ++k) thrice.insert(thrice.end(), few.begin(), few.end());
    for (const auto& points : {few, flat, thrice}) {
        bench.write("a.xyz", xyz(points));
        const Json report = bench.fit("out", {"-t", "1e-9", "a.xyz"});
        EXPECT_EQ(1, report["fit"]["u_spans"].number);
        EXPECT_EQ(16, report["fit"]["rank"].number);
        EXPECT_LT(report["deviation"]["at_parameter"]["largest"].number, 1e-12);
    }
}

TEST(KelvofitFolds, AreNoticedAndOthersAreNot) {
    std::mt19937 random(11);
    std::uniform_real_distribution<double> u(0, 1);
    std::normal_distribution<double> g(0, 1);
    const auto cloud = [&](int count, const std::function<Point()>& point) {
        std::vector<Point> points;
        for (int i = 0; i < count; ++i) points.push_back(point());
        return points;
    };
    const auto arc = [&](double turn, double width) {
        return [&u, &random, turn, width] {
            const double a = turn * u(random);
            return Point{std::cos(a), width * u(random), std::sin(a)};
        };
    };
    const struct {
        const char* what;
        bool folds;
        std::vector<Point> points;
    } kRows[] = {
        {"two sheets", true,
         cloud(2000,
               [&] {
                   return Point{u(random), u(random), u(random) < 0.5 ? 0 : 0.1};
               })},
        {"a small flap", true,
         cloud(6000,
               [&] {
                   const Point p{u(random), u(random), 0.001 * g(random)};
                   return p.x < 0.3 && p.y < 0.3 && u(random) < 0.5 ? Point{p.x, p.y, 0.2} : p;
               })},
        {"a sphere", true,
         cloud(3000,
               [&] {
                   const Point p{g(random), g(random), g(random)};
                   const double l = std::sqrt(p.x * p.x + p.y * p.y + p.z * p.z);
                   return Point{p.x / l, p.y / l, p.z / l};
               })},
        {"three quarters of a pipe", true, cloud(3000, arc(4.7, 6))},
        {"a short pipe, seen along its axis", true, cloud(3000, arc(6.283, 1.5))},
        {"a third of a pipe", false, cloud(3000, arc(2.1, 3))},
        {"noise of a tenth of the size", false,
         cloud(5000,
               [&] {
                   return Point{u(random), u(random), 0.1 * g(random)};
               })},
        {"outliers", false,
         cloud(4000,
               [&] {
                   return Point{u(random), u(random), u(random) < 0.005 ? 0.4 : 0.0};
               })},
        {"a cliff", false,
         cloud(5000,
               [&] {
                   const double x = u(random);
                   return Point{x, u(random), x < 0.3 ? 0.1 : 0.0};
               })},
    };
    const Bench bench;
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.what);
        bench.write("a.xyz", xyz(row.points));
        const Outcome outcome = bench.run({"-q", "-s", "8", "-o", "out", "a.xyz"});
        ASSERT_EQ(0, outcome.code);
        const Json report = bench.report("out");
        EXPECT_EQ(row.folds ? Json::kTrue : Json::kFalse, report["folds"]["found"].kind);
        const bool said =
            outcome.err.find("a.xyz: warning: the points fold over the plane") != std::string::npos;
        EXPECT_EQ(row.folds, said) << outcome.err;
        EXPECT_EQ(row.folds, bench.read("out/fit.svg").find("fold over") != std::string::npos);
    }
}

TEST(KelvofitFiles, AreValidForOddNames) {
    const Bench bench;
    const std::string content = xyz(landscape(800, 0.001));
    for (const char* name : {"a & <b> \"c\".xyz", "new\nline.xyz", "caf\xC3\xA9 \xE2\x82\xAC.xyz",
                             "broken\xFF\xC3.xyz", "back\\slash\x01.xyz"}) {
        SCOPED_TRACE(name);
        bench.write(name, content);
        const Json report = bench.fit("out", {"--unit", "<mm>", name});
        const bool broken = std::string(name).find('\xFF') != std::string::npos;
        EXPECT_EQ(broken ? "broken\xEF\xBF\xBD\xEF\xBF\xBD.xyz" : std::string(name),
                  report["input"]["file"].string);
        const std::string svg = bench.read("out/fit.svg");
        EXPECT_TRUE(wellFormed(svg));
        EXPECT_EQ(std::string::npos, svg.find('\x01'));
        EXPECT_LT(svg.size(), 2000000U);
        readObj(bench.read("out/surface.obj"));
    }
}

TEST(KelvofitFiles, ThePictureOfManyPointsStaysSmall) {
    const Bench bench;
    bench.write("a.xyz", xyz(landscape(10000, 0.002)));
    bench.fit("out", {"-t", "1e-9", "a.xyz"});
    const std::string svg = bench.read("out/fit.svg");
    EXPECT_TRUE(wellFormed(svg));
    EXPECT_LT(svg.size(), 2000000U);
    EXPECT_NE(std::string::npos, svg.find("points shown"));
    bench.fit("out", {kTeapot});
    EXPECT_TRUE(wellFormed(bench.read("out/fit.svg")));
    EXPECT_LT(bench.read("out/fit.svg").size(), 2000000U);
}

}  // namespace
}  // namespace kelvo::test
