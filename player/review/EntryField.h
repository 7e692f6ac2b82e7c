#pragma once

#include <QString>
#include <QWidget>

#include <functional>

class QLabel;
class QLineEdit;

// A small field in the control bar that asks for one line. Enter takes it, Esc closes it without a result. While it is
// open it has the keyboard.
class EntryField : public QWidget
{
    Q_OBJECT

public:
    // Takes the line and answers with a fault, one sentence, or with nothing, which closes the field.
    using Taker = std::function<QString(QString const& line)>;

    explicit EntryField(QWidget* parent);

    void Ask(QString const& caption, QString const& line, Taker const& taker);
    void Close();
    QString GetFault() const; // of the last line; empty without one
    bool IsOpen() const { return isVisibleTo(parentWidget()); }

signals:
    void Opened();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    void Take();
    void ShowFault(QString const& sentence);

    QLabel* caption;
    QLineEdit* edit;
    QLabel* fault; // over the window
    Taker taker;
};
