#pragma once
// The push button of the main window, drawn flat with rounded corners. Painting it ourselves
// keeps the look without a style sheet, whose engine alone costs the start-up about 9 ms and
// over a megabyte.

#include <QPushButton>

namespace nq::app {

class FlatButton : public QPushButton {
    Q_OBJECT
  public:
    enum class Kind {
        Primary,    // blue with white text: the one action of a panel
        Secondary,  // white with a grey border; blue-tinted while checked
        Tab,        // text only, its colour from the palette's ButtonText, underlined while current
    };

    FlatButton(const QString& text, Kind kind, QWidget* parent = nullptr);

    Kind kind() const { return kind_; }
    void setCurrent(bool current);  // Tab: the underline
    bool isCurrent() const { return current_; }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

  protected:
    void paintEvent(QPaintEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;

  private:
    Kind kind_;
    bool current_ = false;
    bool hover_ = false;
};

}  // namespace nq::app
