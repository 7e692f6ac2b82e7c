#pragma once

#include <QLabel>

// A line of plain text that gives way: where it does not fit, its middle is left out, and the tool tip has all of it.
class ElidedLabel : public QLabel
{
    Q_OBJECT

public:
    explicit ElidedLabel(QWidget* parent = nullptr);

    void Show(QString const& text);
    bool IsCut() const; // something is left out

    QSize minimumSizeHint() const override; // no width: it may vanish

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void UpdateToolTip();
};
