// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// rows.h - a table of inputs and answers, and the loop over it.
#pragma once

#include <gtest/gtest.h>

#include <vector>

namespace brix {

template <class Input, class Answer>
struct Row {
  const char* label;  // says the fault
  Input input;
  Answer answer;
};

template <class Input, class Answer>
using Rows = std::vector<Row<Input, Answer>>;

template <class Input, class Answer, class Function>
void ExpectRows(const Rows<Input, Answer>& rows, Function function) {
  for (const auto& row : rows) EXPECT_EQ(function(row.input), row.answer) << row.label;
}

}  // namespace brix
