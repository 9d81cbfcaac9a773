// kernel_alone: what the crossproducts of 50,000 rows of 801 columns cost by themselves: the rows are made in memory and go
// through the blocked kernel, nothing else. The whole run on the same layout is compared with this process.
#include <cstdio>
#include <vector>

#include "numeric/crossproduct.h"

int main() {
    constexpr int columns = 801;
    constexpr std::ptrdiff_t rows = 50000;
    std::vector<double> x(static_cast<std::size_t>(columns) * rows);
    for (std::size_t i = 0; i < x.size(); ++i) x[i] = static_cast<double>(i * 2654435761U % 1000) * 0.001;
    std::vector<double> triangle(static_cast<std::size_t>(columns) * columns);
    std::vector<double*> target(columns);
    for (std::size_t i = 0; i < target.size(); ++i) target[i] = triangle.data() + i * columns;
    std::vector<double> work(static_cast<std::size_t>(vek::Crossproduct::work_doubles(columns)));
    vek::Crossproduct kernel(columns, nullptr, target.data(), work.data());
    kernel.add_rows(x.data(), columns, rows);
    kernel.flush();
    std::printf("%.17g\n", triangle[1]);
}
