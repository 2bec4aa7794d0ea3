#include "DlgViewVignettes.h"

#include "Vignette.h"
#include "project/Project.h"
#include "project/SampleForm.h"
#include "project/SequenceHandler.h"

#include <QComboBox>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPainter>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>

namespace {

constexpr int kTile = 128;

QImage to_image(const cv::Mat& m) {
    return QImage(m.data, m.cols, m.rows, static_cast<int>(m.step), QImage::Format_Grayscale8).copy();
}

// The vignette scaled into a tile, with a 1 mm bar in its lower left corner when the pixel
// size is known.
QPixmap tile(const QImage& image, double pixelMm, int size) {
    QPixmap pixmap(size, size);
    pixmap.fill(Qt::black);
    QPainter p(&pixmap);
    const QImage scaled = image.scaled(size, size - 14, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    p.drawImage((size - scaled.width()) / 2, (size - 14 - scaled.height()) / 2, scaled);
    if (pixelMm > 0 && image.width() > 0) {
        const double factor = static_cast<double>(scaled.width()) / image.width();
        const int bar = static_cast<int>(std::lround(1.0 / pixelMm * factor));
        p.setPen(QPen(Qt::yellow, 2));
        p.drawLine(4, size - 5, 4 + std::min(bar, size - 8), size - 5);
        p.setFont(QFont(QString(), 7));
        p.drawText(8 + std::min(bar, size - 40), size - 2, QStringLiteral("1 mm"));
    }
    return pixmap;
}

} // namespace

DlgViewVignettes::DlgViewVignettes(const Project& project, const QString& sample, QWidget* parent)
    : QDialog(parent)
    , m_sort(new QComboBox(this))
    , m_size(new QComboBox(this))
    , m_grid(new QListWidget(this))
    , m_pageLabel(new QLabel(this))
    , m_previous(new QPushButton(QStringLiteral("Previous"), this))
    , m_next(new QPushButton(QStringLiteral("Next"), this)) {
    setObjectName(QStringLiteral("DlgViewVignettes"));
    setWindowTitle(QStringLiteral("Vignettes of %1").arg(sample));
    m_sort->setObjectName(QStringLiteral("cbSort"));
    m_sort->addItems({QStringLiteral("By image index"), QStringLiteral("By size")});
    m_size->setObjectName(QStringLiteral("cbPerPage"));
    m_size->addItems({QStringLiteral("20"), QStringLiteral("50"), QStringLiteral("100")});
    m_previous->setObjectName(QStringLiteral("btPrevious"));
    m_next->setObjectName(QStringLiteral("btNext"));
    m_pageLabel->setObjectName(QStringLiteral("lblPage"));
    m_grid->setObjectName(QStringLiteral("grid"));
    m_grid->setViewMode(QListView::IconMode);
    m_grid->setIconSize(QSize(kTile, kTile));
    m_grid->setResizeMode(QListView::Adjust);
    m_grid->setMovement(QListView::Static);
    m_grid->setSpacing(6);
    // Room for the tile and its two lines of text, the widest size line included.
    const QFontMetrics metrics = m_grid->fontMetrics();
    m_grid->setGridSize(
        QSize(std::max(kTile, metrics.horizontalAdvance(QStringLiteral("00.00 x 00.00 mm"))) + 16,
              kTile + 2 * metrics.height() + 16));
    m_grid->setWordWrap(true);

    auto* top = new QHBoxLayout;
    top->addWidget(new QLabel(QStringLiteral("Sort:"), this));
    top->addWidget(m_sort);
    top->addWidget(new QLabel(QStringLiteral("Per page:"), this));
    top->addWidget(m_size);
    top->addStretch();
    top->addWidget(m_previous);
    top->addWidget(m_pageLabel);
    top->addWidget(m_next);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(top);
    layout->addWidget(m_grid, 1);
    resize(900, 700);

    // The sample's range, its sequence's depths and pixel size.
    const RAMCsv& header = project.SampleHeader();
    const int row = SampleForm::FindRow(project, sample);
    const QString seq = row >= 0 ? header.Get(row, QStringLiteral("filename")) : QString();
    const int first = row >= 0 ? header.Get(row, QStringLiteral("firstimage")).toInt() : 0;
    const int last = row >= 0 ? header.Get(row, QStringLiteral("endimg")).toInt() : -1;
    m_pixelMm = row >= 0 ? header.Get(row, QStringLiteral("pixelsize")).toDouble() / 1000.0 : 0;
    const QString archive =
        SequenceHandler::SequenceFolder(project.Path(), seq) + QStringLiteral("/images.zip");
    if (row < 0 || !QFileInfo::exists(archive)) {
        m_message = QStringLiteral("Images are not yet processed or missing\n");
    } else {
        m_zip = std::make_unique<MappedZipReader>();
        if (!m_zip->open(archive)) {
            m_message = QStringLiteral("Error while opening images zip file\n");
            m_zip.reset();
        }
    }
    if (m_zip) {
        SequenceHandler sequence(project.Path(), seq);
        if (sequence.ReadDataFile()) {
            for (const auto& r : sequence.Rows()) {
                m_depths << r.pressure;
            }
        }
        for (const MappedZipReader::Entry& entry : m_zip->entries()) {
            Item item;
            item.entry = &entry;
            if (Vignette::parseName(entry.name, &item.image, &item.object) && item.image >= first &&
                item.image <= last) {
                m_items << item;
            }
        }
        if (m_items.isEmpty()) {
            m_message = QStringLiteral("Images are not yet processed or missing\n");
        }
    }
    if (!m_message.isEmpty()) {
        m_grid->hide();
        auto* text = new QLabel(m_message, this);
        text->setObjectName(QStringLiteral("lblMessage"));
        text->setAlignment(Qt::AlignCenter);
        layout->addWidget(text, 1);
    }
    connect(m_grid, &QListWidget::itemClicked, this, &DlgViewVignettes::zoom);
    connect(m_sort, qOverload<int>(&QComboBox::currentIndexChanged), this, [this] {
        sortItems();
        showPage(0);
    });
    connect(m_size, qOverload<int>(&QComboBox::currentIndexChanged), this, [this] { showPage(0); });
    QMetaObject::connectSlotsByName(this);
    sortItems();
    showPage(0);
}

DlgViewVignettes::~DlgViewVignettes() = default;

int DlgViewVignettes::perPage() const {
    return m_size->currentText().toInt();
}

int DlgViewVignettes::pageCount() const {
    return std::max(1, (static_cast<int>(m_items.size()) + perPage() - 1) / perPage());
}

void DlgViewVignettes::sortItems() {
    const bool bySize = m_sort->currentIndex() == 1;
    std::stable_sort(m_items.begin(), m_items.end(), [bySize](const Item& a, const Item& b) {
        if (bySize && a.entry->size != b.entry->size) {
            return a.entry->size > b.entry->size; // the largest objects first
        }
        return std::tie(a.image, a.object) < std::tie(b.image, b.object);
    });
}

void DlgViewVignettes::showPage(int page) {
    m_page = std::clamp(page, 0, pageCount() - 1);
    m_pageLabel->setText(QStringLiteral("Page %1 of %2").arg(m_page + 1).arg(pageCount()));
    m_previous->setEnabled(m_page > 0);
    m_next->setEnabled(m_page + 1 < pageCount());
    m_grid->clear();
    if (!m_zip) {
        return;
    }
    const int begin = m_page * perPage();
    const int end = std::min(static_cast<int>(m_items.size()), begin + perPage());
    for (int i = begin; i < end; ++i) {
        const Item& item = m_items[i];
        QByteArray bytes;
        m_zip->read(*item.entry, bytes);
        const cv::Mat picture = Vignette::decode(bytes);
        const double depth = item.image < m_depths.size() ? m_depths[item.image] : NAN;
        QString text =
            std::isfinite(depth) ? QStringLiteral("%1 m").arg(depth, 0, 'f', 1) : QStringLiteral("? m");
        auto* cell = new QListWidgetItem(m_grid);
        cell->setData(Qt::UserRole, i);
        if (picture.empty()) {
            text += QStringLiteral("\nunreadable");
            cell->setIcon(QIcon());
        } else {
            const QImage image = to_image(picture);
            if (m_pixelMm > 0) {
                text += QStringLiteral("\n%1 x %2 mm")
                            .arg(image.width() * m_pixelMm, 0, 'f', 2)
                            .arg(image.height() * m_pixelMm, 0, 'f', 2);
            }
            cell->setIcon(QIcon(tile(image, m_pixelMm, kTile)));
            cell->setData(Qt::UserRole + 1, image);
        }
        cell->setText(text);
        cell->setToolTip(item.entry->name);
    }
}

void DlgViewVignettes::on_btPrevious_clicked() {
    showPage(m_page - 1);
}

void DlgViewVignettes::on_btNext_clicked() {
    showPage(m_page + 1);
}

void DlgViewVignettes::zoom(QListWidgetItem* item) {
    const QImage image = item->data(Qt::UserRole + 1).value<QImage>();
    if (image.isNull()) {
        return;
    }
    QDialog view(this);
    view.setWindowTitle(item->toolTip());
    auto* label = new QLabel(&view);
    const int factor = std::max(1, 480 / std::max(image.width(), image.height()));
    label->setPixmap(tile(image, m_pixelMm / factor, std::max(image.width(), image.height()) * factor + 14));
    auto* layout = new QVBoxLayout(&view);
    layout->addWidget(label);
    view.exec();
}
