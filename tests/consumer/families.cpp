// Uses several families through the umbrella header alone.
#include <Base/rpt.h>
#include <KelvoBase/KelvoBase.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>

#include "check.h"

namespace {

std::string g_reports;

void collect(rptKind, int, const char* text, void*) {
    g_reports += text;
}

class Viewer : public VelaBehaviour {
  public:
    bool isViewer() const override { return true; }
    zoString::IString getProductIconName() override { return L"viewer"; }
};

void settings() {
    set_crv_fit_tolerance(0);
    CHECK(get_crv_fit_tolerance() == 5e-05);
    CHECK(get_crv_intersect_tolerance() == 0);
    set_tol_topological_G1(degrees_to_radians(10));
    CHECK(std::fabs(radians_to_degrees(get_topological_G1()) - 10) < 1e-12);
    va_coordinate_system = 5;
    CHECK(VL_yIsUp() == 1 && VL_get_up_vector()[1] == 1.0);
    va_coordinate_system = 0;
    CHECK(VL_zIsUp() == 1 && VL_get_up_vector()[2] == 1.0);
}

void behaviour() {
    CHECK(!VelaBehaviour_isViewer());
    VelaBehaviour::set(new Viewer);
    CHECK(std::strcmp(VelaBehaviour::get()->getHelpFileName(), "KelvoViewer.chm") == 0);
    char* icon = VelaBehaviour_getProductIconName();
    CHECK(icon && std::strcmp(icon, "viewer") == 0);
    std::free(icon);
    VelaBehaviour::set(nullptr);
}

void fonts() {
    FontProperties font("Courier", 12, 50, 1, 0);
    font.setFontStyle(4);
    CHECK(font.getFontStyle() == 5);
    CHECK(g_reports.empty());
    font.setFontSize(1000);
    CHECK(g_reports ==
          "FontProperties::setFontSize invalid fontsize 1000, clamping to allowed range 720\n");
    CHECK(FontProperties::getStandardFontSizes().size() == 16);
}

void reporter() {
    g_reports.clear();
    TbaseReporter("a name that is long", 1).iterationsReport(7);
    CHECK(g_reports == " a name that:  Constraint solving.  Iteration 7 (ESC to stop).");
}

void expressions() {
    CHECK(boost::regex_match("shot.0042.tif", boost::regex(R"(\w+\.\d+\.\w+)")));
    boost::regex_tW wide;
    CHECK(boost::regcompW(&wide, L"b+", boost::REG_EXTENDED) == 0);
    boost::regmatch_t match[1];
    CHECK(boost::regexecW(&wide, L"abbc", 1, match, 0) == 0 && match[0].rm_eo == 3);
    boost::regfreeW(&wide);
}

}  // namespace

int main() {
    rptSetSink(collect, nullptr);
    settings();
    behaviour();
    fonts();
    reporter();
    expressions();
    rptSetSink(nullptr, nullptr);
    return failures > 0;
}
