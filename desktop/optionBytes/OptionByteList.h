#pragma once

#include <QListView>

class OptionByteDocument;

/// The words of a table: name and meaning, value, and what is to be said of it. Only rows in sight cost anything.
class OptionByteList : public QListView {
    Q_OBJECT

  public:
    explicit OptionByteList(OptionByteDocument& document, QWidget* parent = nullptr);

    /// -1 if none is chosen.
    [[nodiscard]] qsizetype word() const;
    void choose(qsizetype word);

    [[nodiscard]] QSize sizeHint() const override;

  signals:
    void chosen(qsizetype word);

  protected:
    void currentChanged(const QModelIndex& current, const QModelIndex& previous) override;
};
