#pragma once

#include <QWidget>

class QLabel;
class QVBoxLayout;

// What the window shows when there is nothing to play: what can be done, what went wrong, and the files opened last.
class WelcomePanel : public QWidget
{
    Q_OBJECT

public:
    explicit WelcomePanel(QWidget* parent);

    // `message` is one or more sentences; empty when nothing went wrong.
    void Show(QString const& message, QStringList const& recentFiles);
    QString GetMessage() const;

signals:
    void OpenRequested();                    // any file
    void FileRequested(QString const& path); // one of the recent ones

private:
    QLabel* heading;
    QLabel* message;
    QVBoxLayout* files; // a button for each recent file
};
