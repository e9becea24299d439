#include "BenchTable.h"

#include "BenchClock.h"

#include "platform/Console.h"
#include "platform/Format.h"

namespace bench {

namespace {

constexpr int kNameWidth = 50;

std::wstring Number(double value, int decimals) { return os::FormatString(L"%.*f", decimals, value); }

std::wstring Range(const Figure& figure)
{
    return Number(Smallest(figure.samples), figure.decimals) + L" .. " +
           Number(Largest(figure.samples), figure.decimals);
}

std::wstring Target(const Figure& figure)
{
    switch (figure.goal) {
    case Figure::Goal::AtMost: return L"<= " + Number(figure.target, 0);
    case Figure::Goal::AtLeast: return L">= " + Number(figure.target, 0);
    case Figure::Goal::None: break;
    }
    return L"-";
}

std::wstring Verdict(const Figure& figure)
{
    if (figure.goal == Figure::Goal::None)
        return L"";
    return figure.Met() ? L"met" : L"MISSED";
}

std::wstring Rule(size_t width) { return std::wstring(width, L'-'); }

}  // namespace

double Figure::Value() const { return Median(samples); }

bool Figure::Met() const
{
    switch (goal) {
    case Goal::AtMost: return Value() <= target;
    case Goal::AtLeast: return Value() >= target;
    case Goal::None: break;
    }
    return true;
}

void PrintTable(const std::vector<Figure>& figures)
{
    const wchar_t* const row = L"%-*s %14s %-8s %-26s %-12s %s\n";
    os::Print(row, kNameWidth, L"figure", L"median", L"unit", L"range of the runs", L"target", L"");
    os::Print(L"%s\n", Rule(kNameWidth + 1 + 14 + 1 + 8 + 1 + 26 + 1 + 12 + 1 + 6).c_str());
    int withTarget = 0;
    int met = 0;
    for (const Figure& figure : figures) {
        os::Print(row, kNameWidth, figure.name.c_str(), Number(figure.Value(), figure.decimals).c_str(),
                  figure.unit.c_str(), Range(figure).c_str(), Target(figure).c_str(), Verdict(figure).c_str());
        if (figure.goal != Figure::Goal::None) {
            ++withTarget;
            met += figure.Met() ? 1 : 0;
        }
    }
    os::Print(L"%s\n", Rule(kNameWidth + 1 + 14 + 1 + 8 + 1 + 26 + 1 + 12 + 1 + 6).c_str());
    os::Print(L"%d of %d targets met\n", met, withTarget);
}

}  // namespace bench
