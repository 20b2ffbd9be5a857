{ Designs a correction through variants, whose members are looked up by name as the program runs, and listens to the
  project's events with a sink that gets their numbers.

      correct_late RESPONSE FOLDER

  FOLDER gets the documents acme.lvs and desk.lvp. }
program correct_late;

{$mode objfpc}{$H+}{$apptype console}

uses
  SysUtils, Variants, ActiveX, ComObj, EventSink;

const
  LX_SHARE_READ = 1;
  LX_R8 = 5;
  LX_OM_MINERROR = 1;
  IID_ILXDEvents: TGUID = '{1F3E739C-40EF-45A5-8686-FAEB186606AB}';

  SampleRate = 48000;
  FullScale = 32768;
  Taps = 12;

type
  TValues = array of Double;

  TListener = class
    procedure Invoke(Sender: TObject; DispID: Integer; const IID: TGUID; LocaleID: Integer; Flags: Word;
      Params: TDispParams; VarResult, ExcepInfo, ArgErr: Pointer);
  end;

procedure TListener.Invoke(Sender: TObject; DispID: Integer; const IID: TGUID; LocaleID: Integer; Flags: Word;
  Params: TDispParams; VarResult, ExcepInfo, ArgErr: Pointer);
const
  Names: array[1..3] of string = ('CollectionChanged', 'ItemChanged', 'RootChanged');
var
  changed: OleVariant;
begin
  Write('event: ', Names[DispID]);
  if Params.cArgs = 3 then  { root, what changed, how; the last comes first }
  begin
    changed := IUnknown(Params.rgvarg^[1].unkVal) as IDispatch;
    Write(' ', changed.Name, ' ', Params.rgvarg^[0].lVal);
  end;
  WriteLn;
end;

{ The samples of a text file, one a line, full scale being 1; a line that begins with # is a comment. }
function ReadResponse(const path: string): TValues;
var
  input: Text;
  line: string;
begin
  Result := nil;
  Assign(input, path);
  Reset(input);
  while not Eof(input) do
  begin
    ReadLn(input, line);
    if Copy(line, 1, 1) <> '#' then
    begin
      SetLength(Result, Length(Result) + 1);
      Result[High(Result)] := StrToInt(line) / FullScale;
    end;
  end;
  Close(input);
end;

function PeakOf(const response: TValues): Integer;
var
  n: Integer;
begin
  Result := 0;
  for n := 1 to High(response) do
    if Abs(response[n]) > Abs(response[Result]) then Result := n;
end;

{ The filter that, after the response from start on, leaves one impulse and then silence for its own length. }
function InverseOf(const response: TValues; start: Integer): TValues;
var
  n, k: Integer;
  rest: Double;
begin
  Result := nil;
  SetLength(Result, Taps);
  for n := 0 to Taps - 1 do
  begin
    rest := Ord(n = 0);
    for k := 1 to n do rest := rest - response[start + k] * Result[n - k];
    Result[n] := rest / response[start];
  end;
end;

function OneColumn(const values: array of Double): OleVariant;
var
  n: Integer;
begin
  Result := VarArrayCreate([0, High(values)], varDouble);
  for n := 0 to High(values) do Result[n] := values[n];
end;

function ValuesOf(const data: OleVariant): TValues;
var
  n: Integer;
begin
  Result := nil;
  SetLength(Result, VarArrayHighBound(data, 1) + 1);
  for n := 0 to High(Result) do Result[n] := data[n];
end;

function MakeLibrary(catalogue: OleVariant; const folder: string): OleVariant;
var
  config: OleVariant;
begin
  config := catalogue.Configs.FindName('Single amp');
  Result := catalogue.Manufacturers.Add('Acme').Models.Add('Alpha').ModelConfigs.Add(config);
  catalogue.SaveFileAs(folder + '\acme.lvs');
  WriteLn('library: ', Result.ManufacturerName, '/', Result.ModelName, ', ', Result.Name, ', outputs ',
    Result.Config.OutputCount);
end;

procedure MakeProject(project, modelConfig: OleVariant; const response: TValues; const folder: string);
var
  experiment, speaker, speakerConfig, measurement, designs, design, correction: OleVariant;
  start: Integer;
begin
  experiment := project.Experiments.Add('At the desk');
  experiment.MicDistance := 1;
  experiment.ModelConfig := modelConfig;

  speaker := project.SpeakerEQs.Add('Left', modelConfig.Model);
  speakerConfig := speaker.SpkrEQConfigs.Add(modelConfig);
  measurement := speakerConfig.Measurements.Add('Sweep', experiment);
  measurement.SampleRate := SampleRate;
  measurement.Data := OneColumn(response);

  designs := project.CrossoverConfigs.FindName('Single amp').SpkrEQDesigns;
  design := designs.Add('Desk');
  design.OptMethod := LX_OM_MINERROR;
  design.LimitData := OneColumn([20, 0, 6, -12, 0]);  { frequency, alpha, maximum, minimum, type }
  { The items' Locks say how many links point at them; whoever makes a link counts it. }
  design.SpkrMeasureLinks.Add(measurement);
  measurement.Locks := measurement.Locks + 1;

  start := PeakOf(response);
  correction := speakerConfig.Corrections.Add('Inverse', measurement);
  correction.SampleRate := SampleRate;
  correction.ActDelay := 1000 * start / SampleRate;
  correction.OptMethod := design.OptMethod;
  correction.LimitData := design.LimitData;
  correction.Data := OneColumn(InverseOf(response, start));
  design.SpkrCorrectionGroups.Add('First try').SpkrCorrectionLinks.Add(correction);
  correction.Locks := correction.Locks + 1;

  try
    designs.Add('DESK');
  except
    on error: Exception do WriteLn('refused: ', error.Message);
  end;
  project.SaveFileAs(folder + '\desk.lvp');
end;

procedure PrintValues(const title: string; const values: TValues; valueUnit: Double);
var
  value: Double;
begin
  Write(title);
  for value in values do Write(' ', Round(value / valueUnit));
  WriteLn;
end;

procedure ListCorrection(correction: OleVariant);
var
  response, filter, corrected: TValues;
  start, n, k: Integer;
begin
  response := ValuesOf(correction.Measurement.Data);
  filter := ValuesOf(correction.Data);
  WriteLn('  correction: ', correction.Name, ' of ', correction.Measurement.Name, ', ',
    Round(1000 * Double(correction.ActDelay)), ' us, links ', correction.Locks);
  PrintValues('    filter in 1/8192:', filter, 1 / 8192);
  start := PeakOf(response);
  corrected := nil;
  SetLength(corrected, Length(filter));
  for n := 0 to High(filter) do
    for k := 0 to n do corrected[n] := corrected[n] + response[start + k] * filter[n - k];
  PrintValues('    corrected response:', corrected, 1);
end;

procedure ListSpeaker(speaker: OleVariant);
var
  c, n: Integer;
  config, measurement: OleVariant;
begin
  for c := 1 to speaker.SpkrEQConfigs.Count do
  begin
    config := speaker.SpkrEQConfigs.Item(c);
    WriteLn('speaker: ', speaker.DisplayName, ', ', config.Config.Name);
    for n := 1 to config.Measurements.Count do
    begin
      measurement := config.Measurements.Item(n);
      WriteLn('  measurement: ', measurement.Name, ', ', measurement.Experiment.DisplayName, ', ',
        Length(ValuesOf(measurement.Data)), ' values at ', measurement.SampleRate, ' Hz, links ', measurement.Locks);
    end;
    for n := 1 to config.Corrections.Count do ListCorrection(config.Corrections.Item(n));
  end;
end;

procedure ListDesign(design: OleVariant);
var
  n, k: Integer;
  group: OleVariant;
begin
  WriteLn('template: ', design.Name, ' for ', design.Parent.Parent.Config.Name, ', method ', design.OptMethod);
  PrintValues('  limits:', ValuesOf(design.LimitData), 1);
  for n := 1 to design.SpkrMeasureLinks.Count do
    WriteLn('  draws on: ', design.SpkrMeasureLinks.Item(n).Measurement.Name);
  for n := 1 to design.SpkrCorrectionGroups.Count do
  begin
    group := design.SpkrCorrectionGroups.Item(n);
    for k := 1 to group.SpkrCorrectionLinks.Count do
      WriteLn('  ', group.Name, ': ', group.SpkrCorrectionLinks.Item(k).Correction.Name);
  end;
end;

procedure List(const folder: string);
var
  project: OleVariant;
  n, k: Integer;
begin
  project := CreateOleObject('Lumvex-Dev.Project');
  project.AccessMode := LX_SHARE_READ;
  project.SafeArrayType := LX_R8;
  project.OpenFile(folder + '\desk.lvp');
  for n := 1 to project.SpeakerEQs.Count do ListSpeaker(project.SpeakerEQs.Item(n));
  for n := 1 to project.CrossoverConfigs.Count do
    for k := 1 to project.CrossoverConfigs.Item(n).SpkrEQDesigns.Count do
      ListDesign(project.CrossoverConfigs.Item(n).SpkrEQDesigns.Item(k));
  project.CloseFile;
end;

procedure DesignCorrection(const responsePath, folder: string);
var
  response: TValues;
  catalogue, modelConfig, project: OleVariant;
  sink: TEventSink;
  listener: TListener;
begin
  response := ReadResponse(responsePath);
  catalogue := CreateOleObject('Lumvex-Dev.Specifications');
  modelConfig := MakeLibrary(catalogue, folder);
  project := CreateOleObject('Lumvex-Dev.Project');
  listener := TListener.Create;
  sink := TEventSink.Create(nil);
  try
    sink.OnInvoke := @listener.Invoke;
    sink.Connect(project, IID_ILXDEvents);
    project.Specifications := catalogue;
    MakeProject(project, modelConfig, response, folder);
    project.CloseFile;
  finally
    sink.Free;
    listener.Free;
  end;
  List(folder);
end;

begin
  if ParamCount <> 2 then
  begin
    WriteLn(StdErr, 'correct_late RESPONSE FOLDER');
    Halt(2);
  end;
  try
    DesignCorrection(ParamStr(1), ParamStr(2));
  except
    on error: Exception do
    begin
      WriteLn(StdErr, error.ClassName, ': ', error.Message);
      Halt(1);
    end;
  end;
end.
