// Uses the companion library without the main one.
#include <Base/Base.h>

#include <cstring>

#include "check.h"

namespace {

class Counted : public zo::ReferenceCount {
  public:
    explicit Counted(int* alive) : alive_(alive) { ++*alive_; }
    ~Counted() override { --*alive_; }

  private:
    int* alive_;
};

void countLength(rptKind, int, const char* text, void* context) {
    *static_cast<std::size_t*>(context) += std::strlen(text);
}

}  // namespace

int main() {
    std::size_t length = 0;
    rptSetSink(countLength, &length);
    CHECK(rptError("%s %d", "code", 12) == 7);
    CHECK(length == 7);
    rptSetSink(nullptr, nullptr);

    CHECK(zoString::IString(L"gr\u00fcn").toMultibyte() == "gr\u00fcn");
    const zoUtil::Error error(3, "no file %s", "a.tif");
    CHECK(error && error.code() == 3 && error.message() == "no file a.tif");

    // The programs are found from the place of the library.
    int code = -1;
    CHECK(!zoOS::ProcessManager::getInstance().startSync(
        {APP_getBinaryPath("velaWarning"), "--version"}, zoOS::Filename(), code));
    CHECK(code == 0);

    int alive = 0;
    {
        zo::Reference<Counted> one(new Counted(&alive)), two(one);
        CHECK(alive == 1 && one->referenceCount() == 2);
    }
    CHECK(alive == 0);

    void* block = MA_malloc(100, __LINE__, __FILE__, 0);
    CHECK(block && MA_liveBlocks() == 1);
    MA_free(block, __LINE__, __FILE__);
    CHECK(MA_liveBlocks() == 0);
    return failures > 0;
}
