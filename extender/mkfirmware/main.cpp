// mkfirmware: makes firmware images to upload, good and bad ones.
#include <CLI/CLI.hpp>
#include <charconv>
#include <fstream>
#include <iostream>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <string>

#include "common/usage.hpp"
#include "firmware/image.hpp"
#include "mkfirmware/image_maker.hpp"

namespace {

namespace mk = kd::mkfirmware;

constexpr std::size_t kMostData = 64 << 20;  // more than any flash holds

struct Options {
  mk::Recipe recipe;
  std::string input;
  std::string output = "-";
  std::optional<std::size_t> size;
  bool soap = false;
  std::size_t columns = 76;
};

// All of the input; with a size that much of it, filled up with zero bytes.
std::string read_data(const Options& options) {
  std::ifstream file;
  if (options.input != "-") file.open(options.input, std::ios::binary);
  std::istream& in = options.input == "-" ? std::cin : file;
  std::string data;
  if (options.size) {
    data.resize(*options.size);
    in.read(data.data(), static_cast<std::streamsize>(data.size()));
    if (in.eof()) in.clear();
  } else {
    data.assign(std::istreambuf_iterator<char>{in}, {});
  }
  if (!in || in.bad()) throw std::runtime_error{"cannot read " + options.input};
  if (data.size() > kMostData) throw std::runtime_error{options.input + " is larger than 64 MB"};
  return data;
}

void write(const Options& options, const std::string& bytes) {
  std::ofstream file;
  if (options.output != "-") file.open(options.output, std::ios::binary);
  std::ostream& out = options.output == "-" ? std::cout : file;
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!out.flush()) throw std::runtime_error{"cannot write " + options.output};
}

std::string flaw_help() {
  std::string help = "Flaws:";
  for (const mk::FlawName& each : mk::flaw_names()) {
    std::string name = each.name;
    name.resize(16, ' ');
    help += "\n  " + name + each.meaning;
  }
  return help +
         "\n\nUpload to a device, which then restarts into the image:\n"
         "  mkfirmware --name demo --soap FILE | curl -u admin:admin --data-binary @- \\\n"
         "    -H 'SOAPAction: \"http://purenetworks.com/HNAP1/FirmwareUpload\"' http://DEVICE/HNAP1/";
}

}  // namespace

// What escapes, for lack of memory, may end the program.
int main(int argc, char** argv) {  // NOLINT(bugprone-exception-escape)
  Options options;
  std::string board = "0", flaw = "none";
  CLI::App app{"Makes a firmware image, or the upload of one, from any file."};
  app.set_version_flag("--version", "mkfirmware " KD_HNAP_VERSION, "print the release");
  app.add_option("input", options.input, "file with the data; - for standard input")->required();
  app.add_option("-o,--output", options.output, "where to write; - for standard output")
      ->capture_default_str();
  app.add_option("-n,--name", options.recipe.name, "name in the header, up to 20 characters");
  app.add_option("-b,--board", board, "board number, hexadecimal; 0 fits every board")->capture_default_str();
  app.add_option("-s,--size", options.size, "bytes of data: cuts the input, or fills it up with zeros")
      ->check(CLI::Range(std::size_t{0}, kMostData));
  app.add_option("-f,--flaw", flaw, "what is wrong with it (see below)")->capture_default_str();
  app.add_flag("--soap", options.soap, "the whole FirmwareUpload request in place of the image");
  app.add_option("-c,--columns", options.columns, "base64 characters a line, 0 for one line")
      ->capture_default_str();
  app.footer(flaw_help());
  try {
    app.parse(argc, argv);
    const auto known = mk::flaw_of(flaw);
    if (!known) throw std::runtime_error{"no flaw is named " + flaw + "; mkfirmware --help lists them"};
    if (options.recipe.name.size() > kd::kImageNameSize) {
      throw std::runtime_error{"the header holds a name of up to 20 characters: " + options.recipe.name};
    }
    if (mk::is_of_upload(*known) && !options.soap)
      throw std::runtime_error{flaw + " is of an upload: add --soap"};
    const char* digits = board.c_str() + (board.starts_with("0x") ? 2 : 0);
    const auto [end, error] = std::from_chars(digits, board.c_str() + board.size(), options.recipe.board, 16);
    if (error != std::errc{} || *end != '\0') throw std::runtime_error{"not a board number: " + board};
    options.recipe.flaw = *known;
    const std::string image = mk::make_image(read_data(options), options.recipe);
    write(options, options.soap ? mk::make_upload(image, options.columns, *known) : image);
  } catch (const CLI::Success& help) {
    return app.exit(help);
  } catch (const CLI::ParseError& error) {
    std::cerr << "mkfirmware: " << kd::usage_sentence(error.what(), error.get_name(), {})
              << ".\nTry: mkfirmware --help\n";
    return 2;
  } catch (const std::exception& error) {
    std::cerr << "mkfirmware: " << error.what() << "\n";
    return 1;
  }
  return 0;
}
