// Keeps the widget library non-empty until the first panel lands.
#include <QWidget>
namespace qz62ui_detail {
QWidget* makePlaceholder() { return new QWidget; }
} // namespace qz62ui_detail
