// Keeps the core library non-empty until the first subsystem lands.
namespace qz62core_detail {
int placeholder() { return 0; }
} // namespace qz62core_detail
