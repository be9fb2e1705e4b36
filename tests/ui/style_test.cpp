// Finding the style sheet, and what it says.
#include "ui_harness.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace {

constexpr const char* k_expected_fallback =
    "window { background-color: #1e1f22; }button { background-color: #313338; color: white; "
    "border-radius: 6px; padding: 10px; }button:hover { background-color: #404249; }entry { "
    "background-color: #1e1f22; color: white; border-radius: 8px; padding: 10px; "
    "}.suggested-action { background-color: #5865f2; }.login-container { background-color: "
    "#2b2d31; border-radius: 12px; padding: 32px; }";

/// Works in a folder two levels deep in the test's own, so that "../" is its own too.
class Style : public testing::Test {
  protected:
    void SetUp() override {
        m_before = std::filesystem::current_path();
        std::filesystem::remove_all("outer");
        std::filesystem::create_directories("outer/inner");
        std::filesystem::current_path("outer/inner");
    }
    void TearDown() override {
        std::filesystem::current_path(m_before);
        std::filesystem::remove_all("outer");
    }

    /// What the start of the interface prints; `sheet` takes the text of the loaded style.
    static std::string start(std::string& sheet) {
        testing::internal::CaptureStdout();
        run_interface([&sheet] {
            const GCharPtr text(gtk_css_provider_to_string(g_css_provider.get()));
            sheet = text.get();
        });
        return testing::internal::GetCapturedStdout();
    }

  private:
    std::filesystem::path m_before;
};

/// What the window shows where no page has anything, once it shows anything.
std::uint32_t window_colour() {
    const Pixels pixels = paint_widget(g_window);
    return pixels.data.empty() ? 0 : pixels.at(pixels.width / 2, pixels.height * 9 / 10);
}

std::string normalised(const char* css) {
    const GObjectPtr<GtkCssProvider> provider(gtk_css_provider_new());
    gtk_css_provider_load_from_data(provider.get(), css, -1);
    const GCharPtr text(gtk_css_provider_to_string(provider.get()));
    return text.get();
}

struct ParseErrors {
    std::vector<std::string> messages;
};

void on_parsing_error(GtkCssProvider*, GtkCssSection* section, GError* error, ParseErrors* errors) {
    const GCharPtr place(gtk_css_section_to_string(section));
    errors->messages.push_back(std::string(place.get()) + ": " + error->message);
}

TEST_F(Style, WithoutAnyFileTheBuiltInOneIsUsed) {
    std::string sheet;
    EXPECT_EQ(start(sheet), "Using fallback CSS\n");
    EXPECT_EQ(sheet, normalised(k_expected_fallback));
    EXPECT_NE(sheet.find("rgb(30,31,34)"), std::string::npos) << sheet;
}

TEST_F(Style, BuiltInStylePaintsTheWindow) {
    run_interface([] { wait_until([] { return window_colour() == 0xFF1E1F22U; }); });
}

TEST_F(Style, FileInResourcesComesFirst) {
    write_file("resources/style.css", "box { margin: 1px; }");
    write_file("../resources/style.css", "box { margin: 2px; }");
    write_file("style.css", "box { margin: 3px; }");
    std::string sheet;
    EXPECT_EQ(start(sheet), "CSS loaded from: resources/style.css\n");
    EXPECT_NE(sheet.find("1px"), std::string::npos) << sheet;
}

TEST_F(Style, FileInTheFolderAboveComesSecond) {
    write_file("../resources/style.css", "box { margin: 2px; }");
    write_file("style.css", "box { margin: 3px; }");
    std::string sheet;
    EXPECT_EQ(start(sheet), "CSS loaded from: ../resources/style.css\n");
    EXPECT_NE(sheet.find("2px"), std::string::npos) << sheet;
}

TEST_F(Style, FileInTheWorkingFolderComesLast) {
    write_file("style.css", "box { margin: 3px; }");
    std::string sheet;
    EXPECT_EQ(start(sheet), "CSS loaded from: style.css\n");
    EXPECT_NE(sheet.find("3px"), std::string::npos) << sheet;
}

TEST_F(Style, SheetIsAddedForTheDisplayAndPaints) {
    write_file("style.css", "window { background-color: #123456; }");
    run_interface([] { wait_until([] { return window_colour() == 0xFF123456U; }); });
}

TEST_F(Style, OurSheetHasNoErrors) {
    run_interface([] {
        ParseErrors errors;
        const GObjectPtr<GtkCssProvider> provider(gtk_css_provider_new());
        g_signal_connect(provider.get(), "parsing-error", G_CALLBACK(on_parsing_error), &errors);
        gtk_css_provider_load_from_path(provider.get(), VELMO_RESOURCES "/style.css");
        EXPECT_EQ(errors.messages, std::vector<std::string>{});
        const GCharPtr text(gtk_css_provider_to_string(provider.get()));
        EXPECT_GT(std::string(text.get()).size(), 1000U);

        // The same watch does see an error.
        gtk_css_provider_load_from_data(provider.get(), "box { colour: red; }", -1);
        EXPECT_EQ(errors.messages.size(), 1U);
    });
}

} // namespace
