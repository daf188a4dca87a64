#include "edit_script.h"

#include <charconv>

namespace kelvo::fit {
namespace {

constexpr std::size_t kMostCount = 1000000;

/// Takes the words of one line apart, from left to right.
class LineParser {
  public:
    explicit LineParser(const TextFile& file) : file_(file), words_(file.words()) {}

    Edit parse(int surface);

  private:
    const Word& next(const char* what);
    bool atEnd() const { return at_ == words_.size(); }
    bool nextIs(std::string_view text);
    void keyword(const char* text);
    int whole(const Word& word, std::size_t least, std::size_t most, const char* what) const;
    int index(const Word& word) const;
    EditRange single(const char* what);
    EditRange range(const char* what);
    double number(const char* what);
    void vector(Edit& edit);
    void move(Edit& edit);
    void raise(Edit& edit);
    void smooth(Edit& edit);
    void steps(Edit& edit);

    const TextFile& file_;
    const std::vector<Word>& words_;
    std::size_t at_ = 0;
};

// A missing word is missing where the line ends.
const Word& LineParser::next(const char* what) {
    if (!atEnd()) return words_[at_++];
    Word end = words_.back();
    end.column += end.text.size();
    file_.fail(end, std::string("expected ") + what);
}

bool LineParser::nextIs(std::string_view text) {
    if (atEnd() || words_[at_].text != text) return false;
    ++at_;
    return true;
}

void LineParser::keyword(const char* text) {
    const std::string wanted = std::string("'") + text + "'";
    const Word& word = next(wanted.c_str());
    if (word.text != text) file_.fail(word, "expected " + wanted + ", not " + quoted(word.text));
}

int LineParser::whole(const Word& word, std::size_t least, std::size_t most,
                      const char* what) const {
    std::size_t value = 0;
    const char* end = word.text.data() + word.text.size();
    const auto [stop, error] = std::from_chars(word.text.data(), end, value);
    if (error == std::errc::invalid_argument || stop != end)
        file_.fail(word, quoted(word.text) + " is not a whole number of 0 or more");
    if (error != std::errc() || value < least || value > most)
        file_.fail(word, std::string(what) + " must be from " + std::to_string(least) + " to " +
                             std::to_string(most));
    return static_cast<int>(value);
}

int LineParser::index(const Word& word) const {
    return whole(word, 0, kMostCount, "the number");
}

EditRange LineParser::single(const char* what) {
    const Word& word = next(what);
    const int value = index(word);
    return {value, value, word, word};
}

EditRange LineParser::range(const char* what) {
    Word word = next(what);
    const std::size_t dots = word.text.find("..");
    if (dots == std::string_view::npos) {
        const int value = index(word);
        return {value, value, word, word};
    }
    Word first = word, last = word;
    first.text = word.text.substr(0, dots);
    last.text = word.text.substr(dots + 2);
    last.column += dots + 2;
    const EditRange range{index(first), index(last), first, last};
    if (range.last < range.first) file_.fail(word, "the range runs backwards");
    return range;
}

double LineParser::number(const char* what) {
    constexpr double kMost = 1e100;
    const Word& word = next(what);
    const double value = file_.number(word);
    if (std::abs(value) > kMost) file_.fail(word, quoted(word.text) + " is beyond 1e100");
    return value;
}

void LineParser::vector(Edit& edit) {
    edit.vector.x = number("the three numbers of a point");
    edit.vector.y = number("the three numbers of a point");
    edit.vector.z = number("the three numbers of a point");
}

void LineParser::move(Edit& edit) {
    edit.rows = single("the row of a control point");
    edit.columns = single("the column of a control point");
    const Word& how = next("'by' or 'to'");
    if (how.text != "by" && how.text != "to")
        file_.fail(how, "expected 'by' or 'to', not " + quoted(how.text));
    edit.kind = how.text == "by" ? EditKind::kMoveBy : EditKind::kMoveTo;
    vector(edit);
}

void LineParser::raise(Edit& edit) {
    const Word& which = next("'row' or 'column'");
    if (which.text != "row" && which.text != "column")
        file_.fail(which, "expected 'row' or 'column', not " + quoted(which.text));
    edit.kind = which.text == "row" ? EditKind::kRaiseRow : EditKind::kRaiseColumn;
    (edit.kind == EditKind::kRaiseRow ? edit.rows : edit.columns) = single("its number");
    keyword("by");
    edit.vector.z = number("the height");
}

void LineParser::smooth(Edit& edit) {
    edit.kind = EditKind::kSmooth;
    edit.rows = range("the rows, as in 2..5");
    edit.columns = range("the columns, as in 2..5");
    if (nextIs("times")) edit.count = whole(next("how often"), 1, 1000, "the count");
}

void LineParser::steps(Edit& edit) {
    if (atEnd()) return;
    if (nextIs("to")) {
        keyword("mark");
        edit.toMark = true;
    } else {
        edit.count = whole(next("a count"), 1, kMostCount, "the count");
    }
}

Edit LineParser::parse(int surface) {
    Edit edit;
    edit.surface = surface;
    edit.command = next("an edit");
    const std::string_view name = edit.command.text;
    if (name == "patch") {
        edit.kind = EditKind::kPatch;
        edit.rows = single("the number of a patch");
        edit.surface = edit.rows.first;
    } else if (name == "move") {
        move(edit);
    } else if (name == "raise") {
        raise(edit);
    } else if (name == "smooth") {
        smooth(edit);
    } else if (name == "undo" || name == "redo") {
        edit.kind = name == "undo" ? EditKind::kUndo : EditKind::kRedo;
        steps(edit);
    } else if (name == "mark" || name == "list") {
        edit.kind = name == "mark" ? EditKind::kMark : EditKind::kList;
    } else {
        file_.fail(edit.command,
                   quoted(name) +
                       " is no edit; there are patch, move, raise, smooth, undo, redo, mark, list");
    }
    if (!atEnd()) file_.fail(words_[at_], quoted(words_[at_].text) + " is more than expected");
    return edit;
}

void checkRange(const TextFile& file, const EditRange& range, int size, const char* what) {
    for (const Word& word : {range.firstWord, range.lastWord})
        file.index(word, static_cast<std::size_t>(size), what);
}

}  // namespace

EditScript EditScript::read(const std::string& path) {
    return EditScript(TextFile::read(path));
}

EditScript::EditScript(TextFile file) : file_(std::make_unique<TextFile>(std::move(file))) {
    int surface = 0;
    while (file_->nextLine('#')) {
        if (file_->words().empty()) continue;
        edits_.push_back(LineParser(*file_).parse(surface));
        surface = edits_.back().surface;
    }
}

void EditScript::check(const std::vector<SplineSurface>& surfaces) const {
    for (const Edit& edit : edits_) {
        if (edit.kind == EditKind::kPatch) {
            checkRange(*file_, edit.rows, static_cast<int>(surfaces.size()), "patch");
            continue;
        }
        const SplineSurface& surface = surfaces[static_cast<std::size_t>(edit.surface)];
        if (!edit.rows.firstWord.text.empty())
            checkRange(*file_, edit.rows, surface.u().size(), "row");
        if (!edit.columns.firstWord.text.empty())
            checkRange(*file_, edit.columns, surface.v().size(), "column");
    }
}

void EditScript::fail(const Word& word, const std::string& what) const {
    file_->fail(word, what);
}

}  // namespace kelvo::fit
