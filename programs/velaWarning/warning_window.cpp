#include "programs/velaWarning/warning_window.h"

#include <QFontDatabase>
#include <QGridLayout>
#include <QGuiApplication>
#include <QIcon>
#include <QLabel>
#include <QPainter>
#include <QPixmap>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QStyle>
#include <QTextDocument>
#include <QTextEdit>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>
#include <cmath>
#include <memory>

namespace kelvo::velaWarning {
namespace {

// Widths in average characters, so that they follow font size and resolution.
constexpr int kNarrowestText = 36, kWidestText = 84, kWidestButton = 48;
// Shares of the height of the screen.
constexpr double kTextShare = 0.45, kDetailShare = 0.3, kButtonShare = 0.25;

QString fromUtf8(const std::string& text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

int share(const QWidget& widget, double part) {
    return static_cast<int>(part * widget.screen()->availableGeometry().height());
}

// For desktops whose theme has no such icon.
QPixmap warningSign(int side, double ratio) {
    QPixmap sign(QSize(side, side) * ratio);
    sign.setDevicePixelRatio(ratio);
    sign.fill(Qt::transparent);
    QPainter painter(&sign);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(side / 100.0, side / 100.0);
    const QColor amber(0xF5, 0xB8, 0x1B), dark(0x3A, 0x2C, 0x05);
    painter.setPen(QPen(amber, 14, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.setBrush(amber);
    painter.drawPolygon(QPolygonF({{50, 15}, {90, 86}, {10, 86}}));
    painter.setPen(QPen(dark, 11, Qt::SolidLine, Qt::RoundCap));
    painter.drawLine(QLineF(50, 38, 50, 60));
    painter.drawPoint(QPointF(50, 79));
    return sign;
}

// Text to read and copy, as large as it needs up to a limit, scrolled beyond.
class TextPane : public QTextEdit {
  public:
    TextPane(const QString& text, int widest, int highest, QWidget* parent)
        : QTextEdit(parent), size_(0, 0) {
        setReadOnly(true);
        setTabChangesFocus(true);
        setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
        setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
        setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        widest_ = widest;
        highest_ = highest;
        setPlainText(text);
    }

    // Once font and frame are what they will be.
    void measure() {
        int ideal = 0;
        for (const QString& line : toPlainText().split('\n'))
            ideal = std::max(ideal, fontMetrics().horizontalAdvance(line) + 1);
        const int margins = static_cast<int>(2 * document()->documentMargin());
        const int frame = 2 * frameWidth();
        size_.setWidth(std::min(ideal + margins, widest_));
        const std::unique_ptr<QTextDocument> copy(document()->clone());
        copy->setDefaultFont(font());
        copy->setDefaultTextOption(document()->defaultTextOption());
        copy->setTextWidth(size_.width());
        size_.setHeight(static_cast<int>(std::ceil(copy->size().height())));
        if (size_.height() > highest_) {
            setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
            const int bar = style()->pixelMetric(QStyle::PM_ScrollBarExtent, nullptr, this);
            size_ = QSize(size_.width() + bar, highest_);
        }
        size_ += QSize(frame, frame);
        setMinimumHeight(std::min(size_.height(), 3 * fontMetrics().height()));
        updateGeometry();
    }

    QSize sizeHint() const override { return size_; }
    QSize minimumSizeHint() const override { return {0, minimumHeight()}; }

  private:
    QSize size_;
    int widest_, highest_;
};

}  // namespace

WarningWindow::WarningWindow(const Message& message) : layout_(new QVBoxLayout(this)) {
    setWindowTitle(message.title.empty() ? "Warning" : fromUtf8(message.title));
    // The program that asks stands still meanwhile; its windows must not hide the question.
    setWindowFlag(Qt::WindowStaysOnTopHint);
    setWindowFlag(Qt::WindowContextHelpButtonHint, false);
    layout_->setSpacing(layout_->spacing() * 2);
    addMessage(message);
    if (!message.detail.empty()) addDetails(message.detail);
    addButtons(message.buttons);
}

void WarningWindow::addMessage(const Message& message) {
    QStringList lines;
    for (const std::string& line : message.lines) lines << fromUtf8(line);
    const int letter = fontMetrics().averageCharWidth();
    auto* text =
        new TextPane(lines.join('\n'), kWidestText * letter, share(*this, kTextShare), this);
    text->setFrameShape(QFrame::NoFrame);
    text->viewport()->setAutoFillBackground(false);
    text->setAccessibleName("Message");
    text->measure();
    textWidth_ = std::max(text->sizeHint().width(), kNarrowestText * letter);
    text->setMinimumWidth(std::min(textWidth_, kNarrowestText * letter));

    auto* icon = new QLabel(this);
    const int side = style()->pixelMetric(QStyle::PM_MessageBoxIconSize, nullptr, this);
    const QIcon themed = QIcon::fromTheme("dialog-warning");
    icon->setPixmap(themed.isNull() ? warningSign(side, devicePixelRatioF()) : themed.pixmap(side));
    auto* row = new QHBoxLayout;
    row->setSpacing(layout_->spacing());
    row->addWidget(icon, 0, Qt::AlignTop);
    row->addWidget(text, 1);
    layout_->addLayout(row);
}

void WarningWindow::addDetails(const std::string& detail) {
    auto* toggle = new QToolButton(this);
    toggle->setText("&Details");
    accelerators_ += 'd';
    toggle->setCheckable(true);
    toggle->setAutoRaise(true);
    toggle->setArrowType(Qt::RightArrow);
    toggle->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    toggle->setFocusPolicy(Qt::StrongFocus);
    layout_->addWidget(toggle, 0, Qt::AlignLeft);

    const int letter = fontMetrics().averageCharWidth();
    auto* text =
        new TextPane(fromUtf8(detail), kWidestText * letter, share(*this, kDetailShare), this);
    text->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    text->setAccessibleName("Details");
    text->measure();
    text->hide();
    layout_->addWidget(text);
    connect(toggle, &QToolButton::toggled, this, [this, toggle, text](bool open) {
        toggle->setArrowType(open ? Qt::DownArrow : Qt::RightArrow);
        text->setVisible(open);
        adjustSize();
    });
}

// In one row at the right when they fit, otherwise in columns of equal width.
void WarningWindow::addButtons(const std::vector<std::string>& labels) {
    std::vector<QPushButton*> buttons;
    int all = 0, widest = 0;
    const int gap = style()->pixelMetric(QStyle::PM_LayoutHorizontalSpacing, nullptr, this);
    for (const std::string& label : labels) {
        buttons.push_back(makeButton(label, static_cast<int>(buttons.size()) + 1));
        const int width = buttons.back()->sizeHint().width();
        all += width + gap;
        widest = std::max(widest, width);
    }
    const int room = std::max(textWidth_, kWidestText * fontMetrics().averageCharWidth());
    const bool oneRow = all - gap <= room;
    const int columns =
        oneRow ? static_cast<int>(buttons.size()) : std::max(1, (room + gap) / (widest + gap));

    auto* box = new QWidget(this);
    auto* grid = new QGridLayout(box);
    grid->setContentsMargins(0, 0, 0, 0);
    for (int i = 0; i < static_cast<int>(buttons.size()); ++i) {
        grid->addWidget(buttons[static_cast<std::size_t>(i)], i / columns, i % columns);
        if (!oneRow) grid->setColumnMinimumWidth(i % columns, widest);
    }
    const int highest = share(*this, kButtonShare);
    if (box->sizeHint().height() <= highest) {
        layout_->addWidget(box, 0, Qt::AlignRight);
    } else {
        auto* area = new QScrollArea(this);
        area->setWidget(box);
        area->setFixedHeight(highest);
        area->setMinimumWidth(box->sizeHint().width() + 2 * area->frameWidth() +
                              style()->pixelMetric(QStyle::PM_ScrollBarExtent, nullptr, area));
        area->setFocusPolicy(Qt::NoFocus);
        layout_->addWidget(area);
    }
    buttons.front()->setDefault(true);
    buttons.front()->setFocus();
}

QPushButton* WarningWindow::makeButton(const std::string& label, int number) {
    const QString full = fromUtf8(label).replace('\n', ' ');
    QString shown = fontMetrics().elidedText(full, Qt::ElideRight,
                                             kWidestButton * fontMetrics().averageCharWidth());
    // An ampersand of the label is text; the letter for the Alt key is one that no other button has.
    qsizetype letter = 0;
    const auto taken = [this](QChar c) {
        return c.unicode() > 127 || !c.isLetterOrNumber() || accelerators_.contains(c.toLower());
    };
    while (letter < shown.size() && taken(shown[letter])) ++letter;
    const bool found = letter < shown.size();
    if (found) accelerators_ += shown[letter].toLower();
    const QString head = shown.left(letter).replace('&', "&&");
    shown = head + (found ? "&" : "") + shown.mid(letter).replace('&', "&&");

    auto* button = new QPushButton(shown, this);
    button->setAccessibleName(full);
    if (button->text() != full) button->setToolTip(full);
    connect(button, &QPushButton::clicked, this, [this, number] { done(number); });
    return button;
}

}  // namespace kelvo::velaWarning
