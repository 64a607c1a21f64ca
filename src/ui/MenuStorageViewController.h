#pragma once

#include <QWidget>

class StorageBox;

// The storage item's panel page: the home page's storage box without its title and
// separator, filled afresh whenever the page is shown.
class MenuStorageViewController : public QWidget {
    Q_OBJECT
public:
    static constexpr int kWidth = 272;
    static constexpr int kHeight = 136;

    explicit MenuStorageViewController(QWidget* parent = nullptr);
    StorageBox* storageBox() const { return storageBox_; }

protected:
    void showEvent(QShowEvent* event) override;

private:
    StorageBox* storageBox_;
};
