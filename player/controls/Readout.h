#pragma once

#include <QElapsedTimer>
#include <QTimer>
#include <QWidget>

// A few translucent words over the picture's lower left corner, for when the controls do not show them. Fades some
// seconds after the last change.
class Readout : public QWidget
{
    Q_OBJECT

public:
    explicit Readout(QWidget* parent);

    // To be called on every beat: shows `text`, and begins to wait anew whenever `occasion` changes. An empty text
    // hides it.
    void Show(QString const& text, QString const& occasion);

    QString const& GetText() const { return text; }
    void Place(); // after the size of the parent changed

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void Fade();

    QString text;
    QString occasion;
    QElapsedTimer shown; // since the occasion
    QTimer fading;
    double opacity = 1.0;
};
