#pragma once

#include <QListView>

namespace desktop {

class OptionByteDocument;

/// The list of the words of a table, with name, meaning, value and state. Only visible rows are laid out.
class OptionByteList : public QListView {
    Q_OBJECT

  public:
    explicit OptionByteList(OptionByteDocument& document, QWidget* parent = nullptr);

    /// The selected word; -1 if none.
    [[nodiscard]] qsizetype word() const;
    void choose(qsizetype word);

    [[nodiscard]] QSize sizeHint() const override;

  signals:
    void chosen(qsizetype word);

  protected:
    void currentChanged(const QModelIndex& current, const QModelIndex& previous) override;
};

}  // namespace desktop
