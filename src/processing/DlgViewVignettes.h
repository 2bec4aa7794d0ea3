#pragma once

#include "MappedZipReader.h"

#include <QDialog>
#include <QString>
#include <QVector>

#include <memory>

class Project;
class QComboBox;
class QLabel;
class QListWidget;
class QListWidgetItem;
class QPushButton;

// "View vignettes": the vignettes of a sample's range, read from its sequence's "images.zip"
// (the archive's directory once, each vignette decoded when its page is shown), as a paged grid
// sorted by image index or by size. Each shows its depth and its size in millimetres with a
// 1 mm scale bar; a click shows it enlarged.
class DlgViewVignettes : public QDialog {
    Q_OBJECT
public:
    DlgViewVignettes(const Project& project, const QString& sample, QWidget* parent = nullptr);
    ~DlgViewVignettes() override;

    // The message shown instead of vignettes, empty when there are some.
    QString message() const { return m_message; }
    int vignetteCount() const { return m_items.size(); }
    int pageCount() const;
    int page() const { return m_page; }
    QListWidget* grid() const { return m_grid; }
    QLabel* pageLabel() const { return m_pageLabel; }
    void showPage(int page);

public Q_SLOTS:
    void on_btPrevious_clicked();
    void on_btNext_clicked();

private:
    struct Item {
        const MappedZipReader::Entry* entry = nullptr; // in m_zip's directory
        int image = 0;
        int object = 0;
    };
    void sortItems();
    int perPage() const;
    void zoom(QListWidgetItem* item);

    std::unique_ptr<MappedZipReader> m_zip; // null when there is nothing to show
    QVector<Item> m_items;
    QVector<double> m_depths; // by image index
    double m_pixelMm = 0;     // millimetres per pixel, 0 when unknown
    QString m_message;
    int m_page = 0;
    QComboBox* m_sort;
    QComboBox* m_size;
    QListWidget* m_grid;
    QLabel* m_pageLabel;
    QPushButton* m_previous;
    QPushButton* m_next;
};
