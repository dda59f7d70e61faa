# frozen_string_literal: true

require "net/http"
require "program_test"

# `mirel view` and `mirel snapshot` from the outside. What the page does is tested in tests/browser.
class ViewerCommandTest < ProgramTest
  parallelize_me!

  PAGE = File.join(Program::BUILD, "share/viewer/index.html")
  CHROMIUM = %w[chromium chromium-browser google-chrome google-chrome-stable].freeze

  def test_view_serves_until_it_is_interrupted
    needs_page
    %w[INT TERM].each do |signal|
      viewing(write("a.obj", Models.terrain(8)), "--faces", "40") do |address, process, out, err|
        assert_match %r{\Ahttp://127\.0\.0\.1:\d+/[\w-]{32}/\z}, address
        assert_includes Net::HTTP.get(URI(address)), "<title>Mirel</title>"
        state = JSON.parse(Net::HTTP.get(URI("#{address}state")))
        assert_equal 128, state["faces_before"]
        assert_operator state["head"]["faces"], :<=, 40
        Process.kill(signal, process.pid)
        assert process.join(20), "#{signal} does not end it"
        assert_equal 0, process.value.exitstatus
        assert_equal "", out.read
        assert_equal ["Open this address. Ctrl-C ends the viewer."], err.read.lines(chomp: true)
      end
    end
  end

  def test_view_in_json_and_quietly
    needs_page
    viewing(write("a.obj", Models.terrain(4)), "--json", "--quiet", first: /^\}$/) do |text, process, _, err|
      report = JSON.parse(text)
      assert_equal ["view", path("a.obj")], report.values_at("command", "input")
      assert_equal "200", Net::HTTP.get_response(URI(report["address"])).code
      Process.kill("TERM", process.pid)
      process.join
      assert_empty err.read
    end
  end

  def test_a_port_is_used_or_refused
    needs_page
    port = TCPServer.open("127.0.0.1", 0) { |server| server.addr[1] }
    model = write("a.obj", Models.terrain(4))
    viewing(model, "--port", port) do |address, process|
      assert_equal port, URI(address).port
      refused = mirel("view", model, "--no-open", "--port", port)
      assert_equal 1, refused.status
      assert_match(/port #{port}: address already in use/i, refused.err)
      Process.kill("TERM", process.pid)
    end
    ["0", "65536", "-1", "http", ""].each do |bad|
      refused = mirel("view", model, "--no-open", "--port", bad)
      assert_equal 1, refused.status, bad
      assert_equal 1, refused.err_lines.size, bad
      assert_includes refused.err, "--port", bad
    end
  end

  def test_bad_models_are_refused_as_everywhere
    needs_page
    { path("none.obj") => /no such file/i, write("empty.obj", "") => /empty/,
      write("points.obj", "v 0 0 0\n") => /no faces/, write("flat.obj", "v 0 0 0\nv 0 0 0\nv 0 0 0\nf 1 2 3\n") => /no faces/,
      @folder => /directory/ }.each do |file, reason|
      assert_refused(mirel("view", file, "--no-open"), file, reason)
      assert_refused(mirel("snapshot", file, "-o", path("out.png")), file, reason) if chromium
    end
    refute_path_exists path("out.png")
  end

  def test_without_the_page_view_says_why_and_reduce_works
    build = path("build")
    Dir.mkdir(build)
    File.symlink(File.join(Program::BUILD, "lib"), File.join(build, "lib"))
    FileUtils.mkdir_p(File.join(build, "share/viewer"))
    File.write(File.join(build, "share/viewer/error.txt"), "npm could not fetch three.js and esbuild\n")
    model = write("a.obj", Models.terrain(8))
    environment = { "MIREL_BUILD" => build }
    [%w[view --no-open], ["snapshot", "-o", path("out.png")]].each do |words|
      refused = mirel(*words, model, environment: environment)
      assert_equal 1, refused.status
      assert_equal 1, refused.err_lines.size
      assert_match(/page is missing: npm could not fetch three\.js and esbuild; build it with/, refused.err)
    end
    assert_equal 0, mirel("reduce", model, "--faces", "40", "-o", path("small.obj"), environment: environment).status
  end

  def test_snapshot_refuses_bad_options_before_any_work
    model = write("a.obj", Models.terrain(4))
    { [] => "-o", ["-o", path("a.jpg")] => ".png", ["-o", path("a.png"), "--size", "10x10"] => "--size",
      ["-o", path("a.png"), "--size", "9000x20"] => "--size", ["-o", path("a.png"), "--size", "big"] => "--size",
      ["-o", path("a.png"), "--faces", "0"] => "--faces", ["-o", path("none/a.png")] => "folder does not exist" }.each do |words, told|
      refused = mirel("snapshot", model, *words)
      assert_equal 1, refused.status, words.inspect
      assert_equal 1, refused.err_lines.size, refused.err
      assert_includes refused.err, told
      assert_empty refused.out
    end
    assert_equal ["a.obj"], Dir.children(@folder)
  end

  def test_without_a_browser_snapshot_says_so_and_leaves_what_there_was
    needs_page
    model = write("a.obj", Models.terrain(4))
    picture = write("a.png", "as it was")
    broken = write("broken", "#!/bin/sh\necho no display here >&2\nexit 3\n")
    File.chmod(0o755, broken)
    { path("no-such-browser") => /needs Chromium or Chrome/, broken => /browser ended early \(no display here\)/ }.each do |browser, reason|
      refused = mirel("snapshot", model, "-o", picture, environment: { "MIREL_CHROMIUM" => browser })
      assert_equal 1, refused.status
      assert_equal 1, refused.err_lines.size, refused.err
      assert_match reason, refused.err
    end
    assert_equal "as it was", File.read(picture)
    assert_equal ["a.obj", "a.png", "broken"], Dir.children(@folder).sort
  end

  def test_snapshots_show_what_was_asked_for
    needs_page
    skip "no Chromium is here" unless chromium
    pictures = { "whole" => [], "few" => %w[--faces 200], "compare" => %w[--faces 200 --compare],
                 "wireframe" => %w[--faces 200 --wireframe], "heat" => %w[--faces 200 --heatmap] }
    contents = pictures.map do |name, options|
      result = mirel("snapshot", Models::SAMPLE, "-o", path("#{name}.png"), "--size", "320x200", "--json", *options)
      assert_equal 0, result.status, result.err
      content = File.binread(path("#{name}.png"))
      assert_equal ["\x89PNG".b, 320, 200], [content[0, 4], *content[16, 8].unpack("N2")]
      assert_equal [320, 200, content.bytesize], result.json.values_at("width", "height", "bytes")
      assert_operator result.json["faces"], :<=, 200 unless name == "whole"
      content
    end
    assert_equal contents.size, contents.uniq.size
    assert_operator contents.map(&:bytesize).min, :>, 3000
  end

  private

  def needs_page
    skip "the page has not been built" unless File.exist?(PAGE)
  end

  def chromium
    ENV.fetch("PATH").split(":").product(CHROMIUM).find { |folder, name| File.executable?(File.join(folder, name)) }
  end

  # Runs the viewer, waits for the first line that matches, and ends it after the block.
  def viewing(model, *words, first: /^http.*$/)
    Open3.popen3(*Program::MAIN, "view", model, "--no-open", *words.map(&:to_s)) do |input, out, err, process|
      input.close
      text = +""
      text << out.readpartial(4096) until text.match?(first)
      yield text.chomp, process, out, err
    ensure
      Process.kill("KILL", process.pid) if process.alive?
    end
  end
end
